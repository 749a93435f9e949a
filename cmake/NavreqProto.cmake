# Protocol-buffers code of the navigation stop event (nanopb).
#
# The trajectory service's schema and its generator options live in proto/.
# The C code nanopb generates from them is checked in under src/proto/
# (scripts/regen-proto.sh rewrites it), so that phone cross builds need only
# the nanopb runtime library and no code generator on the build host. The test
# proto.generated_code_current fails when the checked-in code is stale.
find_package(nanopb CONFIG REQUIRED)

target_sources(navreq PRIVATE ${PROJECT_SOURCE_DIR}/src/proto/normal_traj_server.pb.c)
target_include_directories(navreq PRIVATE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/proto>)
# PUBLIC: include/navreq/nav_stop_event.h declares nanopb encode callbacks, so
# users of that header need pb.h; the installed package finds nanopb again
# (navreqConfig.cmake).
target_link_libraries(navreq PUBLIC nanopb::protobuf-nanopb-static)

if(NAVREQ_BUILD_TESTS AND NOT CMAKE_HOST_WIN32)
  find_program(NAVREQ_BASH bash)
  if(NAVREQ_BASH)
    enable_testing()
    add_test(NAME proto.generated_code_current
             COMMAND ${NAVREQ_BASH} ${PROJECT_SOURCE_DIR}/scripts/regen-proto.sh --check)
    # 77: no generator on this host; the script says so in the test output.
    set_tests_properties(proto.generated_code_current PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 120)
  endif()
endif()
