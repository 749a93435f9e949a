# Warning flags (and sanitizers) for the project's own targets. Link
# navreq_warnings privately and only in the build tree.
add_library(navreq_warnings INTERFACE)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  target_compile_options(navreq_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wcast-align -Wdouble-promotion
    -Wformat=2 -Wimplicit-fallthrough
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual>)
  if(NAVREQ_WERROR)
    target_compile_options(navreq_warnings INTERFACE -Werror)
  endif()
elseif(MSVC)
  target_compile_options(navreq_warnings INTERFACE /W4 $<$<BOOL:${NAVREQ_WERROR}>:/WX>)
endif()

if(NAVREQ_SANITIZE)
  list(JOIN NAVREQ_SANITIZE "," _navreq_sanitizers)
  add_compile_options(-fsanitize=${_navreq_sanitizers} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${_navreq_sanitizers})
endif()
