#include "navreq/records/common_cmd.h"

namespace navkse {
namespace common {

std::string etos(const MAP_COMMON_CMD& value) {
  switch (value) {
#define NAVKSE_MAP_COMMON_CMD_NAME_(NAME, VALUE) \
  case NAME:                                     \
    return #NAME;
    NAVKSE_MAP_COMMON_CMD(NAVKSE_MAP_COMMON_CMD_NAME_)
#undef NAVKSE_MAP_COMMON_CMD_NAME_
  }
  return std::string();
}

}  // namespace common
}  // namespace navkse
