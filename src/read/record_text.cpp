#include <sstream>

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

}  // namespace navreq
