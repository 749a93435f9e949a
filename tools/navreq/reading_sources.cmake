# The tool's reading half (the walker, its text and JSON views, diff): built
# into navreq_tool_lib, and compiled to WebAssembly for the browser inspector.
set(NAVREQ_TOOL_READING_SOURCES
  diff.cpp
  dump_json.cpp
  dump_text.cpp
  gzip_util.cpp
  paths.cpp
  request_records.cpp
  text_util.cpp
  walk.cpp
  wire_cursor.cpp)
