# Linked by our own targets only, so that a library's headers are never judged by our taste.
add_library(VarnelWarnings INTERFACE)
target_compile_options(VarnelWarnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
  -Wcast-align -Wnull-dereference -Wimplicit-fallthrough)
target_compile_options(VarnelWarnings INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:
  -Wundeclared-selector -Wobjc-missing-super-calls -Wnullable-to-nonnull-conversion
  -Wunguarded-availability -Wformat=2>)
# GCC 12 sees null dereferences and overlapping copies inside its own inlined library code once it optimises.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(VarnelWarnings INTERFACE -Wno-null-dereference -Wno-restrict)
endif()
# libstdc++ 12 calls functions of its own that C++20 deprecated, from templates that clang takes for ours; and a newer
# SDK of macOS deprecates what the oldest system that is supported has nothing else for.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang$")
  target_compile_options(VarnelWarnings INTERFACE -Wno-deprecated-declarations)
endif()
