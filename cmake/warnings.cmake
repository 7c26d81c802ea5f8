# Every target links project_warnings privately: one place for warnings, sanitizers and speed flags.
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 reports these falsely inside the standard library at -O2 and -O3.
  target_compile_options(project_warnings INTERFACE
    -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds -Wno-maybe-uninitialized
    -Wno-dangling-pointer)
endif()

if(TARNVALE_SANITIZE)
  add_compile_options(-fsanitize=${TARNVALE_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TARNVALE_SANITIZE})
  if(TARNVALE_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()
if(TARNVALE_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# tarnvale_test(NAME SOURCES... LINK...): one GoogleTest program, each test with a settings file of its own and without
# the skies that stand beside the programs once they are built.
function(tarnvale_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LINK" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  # PROJ 9.1 frees some of its objects by another call than it took them by; hence the AddressSanitizer option.
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE ${arg_LINK} project_warnings GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    TARNVALE_TEST_TEMP="${PROJECT_BINARY_DIR}/test-temp" TARNVALE_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 TEST_LIST ${name}_all PROPERTIES TIMEOUT ${arg_TIMEOUT})
  # gtest_discover_tests keeps only the first entry of a list, so ctest sets this one itself.
  set(properties ${CMAKE_CURRENT_BINARY_DIR}/${name}_properties.cmake)
  file(WRITE ${properties} "foreach(test IN LISTS ${name}_all)
  set_tests_properties(\"\${test}\" PROPERTIES ENVIRONMENT
    \"TARNVALE_INI=${PROJECT_BINARY_DIR}/test-temp/${name}.ini;TARNVALE_SKY_FILE=none;QT_QPA_PLATFORM=offscreen;LIBGL_ALWAYS_SOFTWARE=1;ASAN_OPTIONS=alloc_dealloc_mismatch=0\")
endforeach()
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${properties})
endfunction()
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/test-temp)
