# Installs the navreq build tree into a scratch prefix, moves the prefix
# elsewhere, then configures, builds and runs the consumer projects against
# the moved copy: the package must be relocatable, its files naming no path
# of the machine or folder it was built in. `write/` links navreq::navreq and
# writes a request; `read/` asks for the read component alone and reads that
# request back, and its configuration and link line must name neither nanopb
# nor the serializers and their compressor. The installed navreq tool
# (WITH_TOOL) dumps the request as well.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
set(moved "${WORK_DIR}/moved/elsewhere")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install "${NAVREQ_BUILD_DIR}" --prefix "${prefix}")
file(MAKE_DIRECTORY "${WORK_DIR}/moved")
file(RENAME "${prefix}" "${moved}")

# No installed CMake file may point back at the prefix, the build tree, the
# source tree or any absolute path of the build machine's libraries.
file(GLOB_RECURSE package_files "${moved}/*.cmake")
if(NOT package_files)
  message(FATAL_ERROR "no CMake package files installed under ${moved}")
endif()
foreach(f IN LISTS package_files)
  file(READ "${f}" text)
  foreach(path IN ITEMS "${prefix}" "${NAVREQ_BUILD_DIR}" "${NAVREQ_SOURCE_DIR}" "/usr/lib" "/usr/include")
    string(FIND "${text}" "${path}" at)
    if(NOT at EQUAL -1)
      message(FATAL_ERROR "${f} names the absolute path ${path}")
    endif()
  endforeach()
endforeach()

function(build_consumer name)
  run(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE_DIR}/${name}" -B "${WORK_DIR}/${name}" -G "${CMAKE_GENERATOR}"
      -DCMAKE_PREFIX_PATH=${moved} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_C_COMPILER=${C_COMPILER})
  run(${CMAKE_COMMAND} --build "${WORK_DIR}/${name}")
endfunction()

# What a consumer's build found and linked: its cache, and its link command
# as the generator wrote it (Makefiles: link.txt; Ninja: build.ninja), less
# the scratch and source folders, whose names say nothing of what is linked.
function(consumer_link_text name out_var)
  file(GLOB_RECURSE files "${WORK_DIR}/${name}/*link.txt" "${WORK_DIR}/${name}/build.ninja")
  if(NOT files)
    message(FATAL_ERROR "no link command found in ${WORK_DIR}/${name}")
  endif()
  set(text "")
  foreach(f IN LISTS files ITEMS "${WORK_DIR}/${name}/CMakeCache.txt")
    file(READ "${f}" t)
    string(APPEND text "${t}")
  endforeach()
  string(REPLACE "${WORK_DIR}" "" text "${text}")
  string(REPLACE "${CONSUMER_SOURCE_DIR}" "" text "${text}")
  set(${out_var} "${text}" PARENT_SCOPE)
endfunction()

build_consumer(write)
run("${WORK_DIR}/write/write_consumer" "${WORK_DIR}/request.bin")
message(STATUS "write consumer: ${run_output}")
if(NOT run_output MATCHES "wrote [0-9]+ bytes: ([A-Z_]+)")
  message(FATAL_ERROR "the writing consumer did not say what it wrote:\n${run_output}")
endif()
set(command_written "${CMAKE_MATCH_1}")
# The installed tool, moved with the prefix, reads it too.
if(WITH_TOOL)
  run("${moved}/bin/navreq" dump "${WORK_DIR}/request.bin")
  if(NOT run_output MATCHES "cmd_name string: \"${command_written}\"")
    message(FATAL_ERROR "the installed navreq tool did not dump the request written:\n${run_output}")
  endif()
endif()
consumer_link_text(write write_links)
# The writer links nanopb and the compressor: this is what the search below
# is able to see.
set(writer_links nanopb)
if(GZIP_BACKEND STREQUAL "libdeflate")
  list(APPEND writer_links libdeflate)
endif()
foreach(name IN LISTS writer_links)
  if(NOT write_links MATCHES "${name}")
    message(FATAL_ERROR "the writing consumer's link command names no ${name}: the link-line check sees nothing")
  endif()
endforeach()

build_consumer(read)
run("${WORK_DIR}/read/read_consumer" "${WORK_DIR}/request.bin")
message(STATUS "read consumer:\n${run_output}")
if(NOT run_output MATCHES "command [0-9]+ ${command_written}, device consumer")
  message(FATAL_ERROR "the reading consumer did not print the request written:\n${run_output}")
endif()
consumer_link_text(read read_links)
set(not_for_readers navreq_services "libnavreq[.]a" "navreq::navreq")
# While navreq::read itself links nanopb (a static library passes it on to
# its users), so does the reader; once read no longer does, nanopb must not
# appear at all. READ_LINKS_NANOPB is read from the build's target.
if(NOT READ_LINKS_NANOPB)
  list(APPEND not_for_readers nanopb)
endif()
if(GZIP_BACKEND STREQUAL "libdeflate")
  list(APPEND not_for_readers libdeflate)
endif()
foreach(name IN LISTS not_for_readers)
  if(read_links MATCHES "${name}")
    message(FATAL_ERROR "the reading consumer (navreq::read alone) configured or linked '${name}'")
  endif()
endforeach()
message(STATUS "consumers built and ran against the moved package in ${moved}")
