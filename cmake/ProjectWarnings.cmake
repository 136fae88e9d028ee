# Warnings are errors for the project's own targets; third-party headers come in as SYSTEM.
function(tintera_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Werror
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual -Wformat=2
    -Wimplicit-fallthrough -Wno-missing-field-initializers)
  # The fuzz build uses clang, which names the shadowing of locals differently.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(${target} PRIVATE -Wshadow-uncaptured-local)
  else()
    target_compile_options(${target} PRIVATE -Wshadow=local)
  endif()
endfunction()

# One GoogleTest executable per test folder, registered with CTest case by case. Tests run with
# their own XDG folders under the build tree, so nothing lands in the real home folder.
function(tintera_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  tintera_warnings(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} tintera_test_main GTest::gtest Qt6::Test)
  target_compile_definitions(${name} PRIVATE
    CXF3_SCHEMA_PATH="${CXF3_SCHEMA}"
    TINTERA_BINARY_DIR="${CMAKE_BINARY_DIR}"
    TINTERA_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  include(GoogleTest)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 LABELS "${ARG_LABELS}"
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;XDG_CONFIG_HOME=${CMAKE_BINARY_DIR}/test-home/config;XDG_DATA_HOME=${CMAKE_BINARY_DIR}/test-home/data")
endfunction()
