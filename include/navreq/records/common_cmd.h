// Command names of the common command table.
#pragma once

#include <cstdint>
#include <string>

namespace navkse {
namespace common {

// Name and value of every common command. The names are the server's own and
// are sent exactly as written ("LOACTION" included).
#define NAVKSE_MAP_COMMON_CMD(X)         \
  X(CMD_GET_POI_BY_LOCATION, 1)          \
  X(CMD_GET_POI_BY_LOCATION_SIMPLE, 2)   \
  X(CMD_GET_CITY_BY_LOACTION, 3)         \
  X(CMD_GET_SYSTEM_TIME, 4)              \
  X(CMD_TRAFFIC_MESSAGE_ON_ROUTE, 5)     \
  X(CMD_TRAFFIC_MESSAGE_ON_ROUTE_MOB, 6) \
  X(CMD_TRAFFIC_ALL_ON_ROUTE_MOB, 7)     \
  X(CMD_REPORT_LOG, 8)                   \
  X(CMD_GET_REPORT_LOG_CONFIG, 9)        \
  X(CMD_POI_QUERY_ALL_V02, 10)           \
  X(CMD_ROUTE_CAR, 11)                   \
  X(CMD_ROUTE_WALK, 12)                  \
  X(CMD_ROUTE_BUS, 13)                   \
  X(CMD_POI_NEARBY_SEARCH_V02, 14)       \
  X(CMD_POI_LOCAL_POI_SEARCH_V02, 15)    \
  X(CMD_POI_DOT_SEARCH_V02, 16)          \
  X(CMD_POI_ANNO_SEARCH_V02, 17)         \
  X(CMD_POI_SUGGESTION_V02, 18)          \
  X(CMD_POI_FUZZY_SEARCH_V02, 19)        \
  X(CMD_POI_BUS_LINE_SEARCH_V02, 20)     \
  X(CMD_POI_BUS_LINES_SEARCH_V02, 21)    \
  X(CMD_POI_BUS_STOP_SEARCH_V02, 22)     \
  X(CMD_POI_STREET_VIEW_CODER_V02, 23)   \
  X(CMD_POI_GET_COMMENTS_V02, 24)        \
  X(CMD_LOG_STATISTICS, 25)              \
  X(CMD_QUERY_SWITCH_STATUS, 26)         \
  X(CMD_REPORT_REALTIME_LOG, 27)         \
  X(CMD_REPORT_FILE_PREUPLOAD, 28)       \
  X(CMD_QUERY_SWITCH_STATUS_V02, 29)     \
  X(CMD_REPORT_REALTIME_LOG_V02, 30)     \
  X(CMD_REPORT_FILE_PREUPLOAD_V02, 31)   \
  X(CMD_ROUTE_CAR_SDK, 32)               \
  X(CMD_ROUTE_CAR_SNS, 33)               \
  X(CMD_POI_INSIDE_SEARCH, 34)           \
  X(CMD_ROUTE_CYCLE, 35)                 \
  X(CMD_REALTIME_REPORT, 36)             \
  X(CMD_POI_RANKING_SEARCH, 37)          \
  X(CMD_POI_COMMENT_SEARCH, 38)          \
  X(CMD_POI_GET_COMMON_ADDRESS, 39)      \
  X(CMD_POI_DEL_COMMON_ADDRESS, 40)      \
  X(CMD_POI_UID_SEARCH, 41)              \
  X(CMD_BUS_REALTIME_STOP, 42)           \
  X(CMD_BUS_REALTIME_LINE, 43)           \
  X(CMD_POI_WAY_SEARCH, 44)              \
  X(CMD_POI_CITY_SEARCH, 45)             \
  X(CMD_POI_GET_SEARCH_HISTORY, 46)      \
  X(CMD_POI_DEL_SEARCH_HISTORY, 47)      \
  X(CMD_POI_SYNC_SEARCH_HISTORY, 48)     \
  X(CMD_REPORT_DATA, 49)                 \
  X(CMD_ROUTE_TRAIN_SECOND, 50)          \
  X(CMD_ROUTE_REGULAR_BUS, 51)           \
  X(CMD_ROUTE_ELECCYCLE, 52)             \
  X(CMD_KALDO_LIGHTNAV, 501)

#define NAVKSE_MAP_COMMON_CMD_ENUMERATOR_(NAME, VALUE) NAME = VALUE,
// The command numbers as named constants.
enum MAP_COMMON_CMD : int32_t { NAVKSE_MAP_COMMON_CMD(NAVKSE_MAP_COMMON_CMD_ENUMERATOR_) };
#undef NAVKSE_MAP_COMMON_CMD_ENUMERATOR_

// The command's name, or "" for a value outside the table.
constexpr const char* commonCmdName(MAP_COMMON_CMD value) noexcept {
  switch (value) {
#define NAVKSE_MAP_COMMON_CMD_NAME_(NAME, VALUE) \
  case NAME:                                     \
    return #NAME;
    NAVKSE_MAP_COMMON_CMD(NAVKSE_MAP_COMMON_CMD_NAME_)
#undef NAVKSE_MAP_COMMON_CMD_NAME_
  }
  return "";
}

// The same as a string.
std::string etos(const MAP_COMMON_CMD& value);

}  // namespace common
}  // namespace navkse
