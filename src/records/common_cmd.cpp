#include "navreq/records/common_cmd.h"

namespace navkse {
namespace common {

std::string etos(const MAP_COMMON_CMD& value) { return commonCmdName(value); }

}  // namespace common
}  // namespace navkse
