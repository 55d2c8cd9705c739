# Compiles and links for macOS on a machine that is no Mac, against what scripts/macos/make-sdk.sh makes. For checking
# only: what comes out has never run anywhere.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_OSX_ARCHITECTURES "arm64;x86_64" CACHE STRING "")

get_filename_component(VARNEL_MACOS "${CMAKE_CURRENT_LIST_DIR}/../../build/macos" ABSOLUTE)
set(CMAKE_OSX_SYSROOT "${VARNEL_MACOS}/sdk" CACHE STRING "")
set(CMAKE_FIND_ROOT_PATH "${VARNEL_MACOS}/sdk")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_COMPILER /usr/bin/clang++-19)
  set(CMAKE_${language}_COMPILER_TARGET arm64-apple-macos)
  # The C++ library's own folder beside the compiler is the one for this machine.
  set(CMAKE_${language}_FLAGS_INIT
    "-B${VARNEL_MACOS}/bin -nostdinc++ -isystem ${VARNEL_MACOS}/sdk/usr/include/c++/v1")
endforeach()
set(CMAKE_C_COMPILER /usr/bin/clang-19)
set(CMAKE_C_FLAGS_INIT "-B${VARNEL_MACOS}/bin")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-19)
foreach(language C CXX OBJCXX)
  set(CMAKE_${language}_CREATE_STATIC_LIBRARY "llvm-libtool-darwin-19 -static -o <TARGET> <OBJECTS>")
endforeach()
# A program that cannot run cannot say which tests it has.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
