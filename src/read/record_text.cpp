// A record's text and its differences: the dump's text view and the diff's
// comparison, run on the bytes the record writes.
#include <sstream>
#include <string>
#include <vector>

#include "navreq/read/diff.h"
#include "navreq/read/records.h"
#include "navreq/read/views.h"
#include "navreq/read/walk.h"

namespace navreq {

std::string RecordText(std::string_view bytes, const RecordInfo& record) {
  std::ostringstream out;
  {
    const std::unique_ptr<TreeSink> view = MakeTextView(out, false);
    (void)WalkRecord(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), record, *view);
  }
  return out.str();
}

std::vector<Difference> DiffRecordBytes(const std::string& a, const std::string& b,
                                        const RecordInfo& record) {
  const auto walk = [&record](const std::string& bytes) {
    return [&record, &bytes](TreeSink& sink) {
      (void)WalkRecord(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), record, sink);
    };
  };
  return DiffWalks(walk(a), walk(b));
}

}  // namespace navreq
