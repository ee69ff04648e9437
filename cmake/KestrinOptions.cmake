# Warnings and sanitizers as named options. kestrin_apply_options() is called on
# every target of ours; consumers of the installed package never see these flags.
add_library(kestrin_options INTERFACE)
target_compile_options(kestrin_options INTERFACE -Wall -Wextra -Wpedantic)
if(KESTRIN_WERROR)
  target_compile_options(kestrin_options INTERFACE -Werror)
endif()
if(KESTRIN_SANITIZE)
  # No recovery: a report must fail the run, not scroll past.
  set(_kestrin_san -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(kestrin_options INTERFACE ${_kestrin_san})
  # GCC 12's flow analysis sees through sanitizer instrumentation badly and
  # reports std::variant copies as maybe-uninitialized; the plain builds keep
  # the warning.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(kestrin_options INTERFACE -Wno-maybe-uninitialized)
  endif()
  target_link_options(kestrin_options INTERFACE ${_kestrin_san})
endif()

if(KESTRIN_COVERAGE)
  target_compile_options(kestrin_options INTERFACE --coverage)
  target_link_options(kestrin_options INTERFACE --coverage)
endif()

function(kestrin_apply_options target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:kestrin_options>)
endfunction()

# nlohmann/json and the standard headers weigh on every file of ours; parsing
# them once per target roughly halves a clean build on two cores.
function(kestrin_precompile target)
  target_precompile_headers(${target} PRIVATE
    <nlohmann/json.hpp> <chrono> <functional> <map> <optional> <string> <string_view> <variant> <vector>)
endfunction()
