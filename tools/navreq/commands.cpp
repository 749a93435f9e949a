#include "commands.h"

#include <string>

#include "dump.h"
#include "tool_io.h"

namespace navreq {
namespace tool {

int RunDump(const DumpOptions& options, std::ostream& out, std::ostream& err) {
  std::string data;
  std::string error;
  if (!ReadAll(options.input, data, error)) {
    err << "navreq dump: " << error << "\n";
    return kExitBadInput;
  }
  const DumpResult result = Dump(reinterpret_cast<const unsigned char*>(data.data()), data.size());
  out << (options.json ? RenderJson(result) : RenderText(result));
  out.flush();
  return DumpComplete(result) ? 0 : kExitDumpIncomplete;
}

}  // namespace tool
}  // namespace navreq
