# Installs the navreq build tree into a scratch prefix, moves the prefix
# elsewhere, then configures, builds and runs the consumer project against
# the moved copy: the package must be relocatable, its files naming no path
# of the machine or folder it was built in.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
set(moved "${WORK_DIR}/moved/elsewhere")

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGN}\n${out}\n${err}")
  endif()
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

run(${CMAKE_COMMAND} -S "${CONSUMER_SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${CMAKE_GENERATOR}"
    -DCMAKE_PREFIX_PATH=${moved} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_C_COMPILER=${C_COMPILER})
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")
message(STATUS "consumer built and ran against the moved package in ${moved}")
