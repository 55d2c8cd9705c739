# One function per kind of target; everything of ours goes through one of them.

function(varnel_configure target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE VarnelWarnings VarnelSanitizers)
endfunction()

function(varnel_library target)
  add_library(${target} STATIC)
  target_sources(${target} PRIVATE ${ARGN})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PRIVATE VarnelWarnings PUBLIC VarnelSanitizers)
endfunction()

function(varnel_program target)
  add_executable(${target} ${ARGN})
  varnel_configure(${target})
endfunction()

# varnel_test(NAME SOURCES… [LIBRARIES …] [LABELS …]): a GoogleTest program, each of its tests known to CTest by name.
function(varnel_test target)
  cmake_parse_arguments(arg "" "MAIN" "LIBRARIES;LABELS;PROPERTIES" ${ARGN})
  add_executable(${target} ${arg_UNPARSED_ARGUMENTS})
  varnel_configure(${target})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES} GTest::gmock)
  target_compile_definitions(${target} PRIVATE VARNEL_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data")
  if(NOT arg_MAIN)
    target_link_libraries(${target} PRIVATE GTest::gmock_main)
  endif()
  if(NOT arg_LABELS)
    set(arg_LABELS unit)
  endif()
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${arg_LABELS} TIMEOUT 300 ${arg_PROPERTIES})
endfunction()
