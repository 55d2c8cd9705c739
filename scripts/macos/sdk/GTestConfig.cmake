# Debian's sources of GoogleTest as targets for macOS; on a Mac the installed library has its own such file.
set(sources /usr/src/googletest)
add_library(GTest STATIC ${sources}/googletest/src/gtest-all.cc ${sources}/googlemock/src/gmock-all.cc)
target_include_directories(GTest SYSTEM
  PUBLIC ${sources}/googletest/include ${sources}/googlemock/include
  PRIVATE ${sources}/googletest ${sources}/googlemock)
add_library(GTestMain STATIC ${sources}/googlemock/src/gmock_main.cc)
target_link_libraries(GTestMain PUBLIC GTest)
add_library(GTest::gmock ALIAS GTest)
add_library(GTest::gmock_main ALIAS GTestMain)
