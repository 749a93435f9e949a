# The fuzz targets, shared by the libFuzzer build (fuzz/CMakeLists.txt) and the
# corpus replay of the test suite (tests/reliability/CMakeLists.txt).
#
#   navreq_fuzz_target_list(<var>)       names of the targets this build can make
#   navreq_fuzz_configure(<target> <name>)
#                                        gives <target> the sources, definitions
#                                        and libraries of fuzz target <name>
#
# Every target is one LLVMFuzzerTestOneInput; the tool's reader and the JSON targets need
# the tool's library (navreq_tool_lib) and exist only when it is built.

# Variables are per directory: set them for every includer (the test suite
# and the fuzz build both include this file in one configure run).
set(NAVREQ_FUZZ_DIR ${CMAKE_CURRENT_LIST_DIR})
set(NAVREQ_FUZZ_KINDS route refresh location navstop plus slice)
include_guard(GLOBAL)

function(navreq_fuzz_target_list out)
  set(names kse_writer request_decode read_input har)
  if(TARGET navreq_tool_lib)
    list(APPEND names kse_reader pack_json diff)
    foreach(kind IN LISTS NAVREQ_FUZZ_KINDS)
      list(APPEND names param_json_${kind})
    endforeach()
  endif()
  set(${out} ${names} PARENT_SCOPE)
endfunction()

function(navreq_fuzz_configure target name)
  # The tests' own writers of text forms (tests/support) make some inputs.
  target_include_directories(${target} PRIVATE ${NAVREQ_FUZZ_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${target} PRIVATE navreq::navreq navreq_warnings)
  if(name STREQUAL "kse_writer")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/kse_writer_fuzz.cpp)
    if(TARGET navreq_tool_lib)
      # What the writer writes must also read back.
      target_compile_definitions(${target} PRIVATE NAVREQ_FUZZ_WITH_READER)
      target_link_libraries(${target} PRIVATE navreq_tool_lib)
    endif()
  elseif(name STREQUAL "request_decode")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/request_decode_fuzz.cpp)
  elseif(name STREQUAL "read_input")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/read_input_fuzz.cpp)
  elseif(name STREQUAL "har")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/har_fuzz.cpp)
  elseif(name STREQUAL "kse_reader")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/kse_reader_fuzz.cpp)
    target_link_libraries(${target} PRIVATE navreq_tool_lib)
  elseif(name STREQUAL "pack_json")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/pack_json_fuzz.cpp)
    target_link_libraries(${target} PRIVATE navreq_tool_lib)
  elseif(name STREQUAL "diff")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/diff_fuzz.cpp)
    target_link_libraries(${target} PRIVATE navreq_tool_lib)
  elseif(name MATCHES "^param_json_(.+)$")
    target_sources(${target} PRIVATE ${NAVREQ_FUZZ_DIR}/param_json_fuzz.cpp)
    target_compile_definitions(${target} PRIVATE NAVREQ_FUZZ_KIND="${CMAKE_MATCH_1}")
    target_link_libraries(${target} PRIVATE navreq_tool_lib)
  else()
    message(FATAL_ERROR "unknown fuzz target ${name}")
  endif()
endfunction()
