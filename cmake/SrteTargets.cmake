# srte_component(NAME SOURCES a.cpp... HEADERS a.h... LINK targets...)
#   One subsystem: target srte_NAME, linked as srte::NAME. Without SOURCES it is header-only.
#   Who may use whom is who links whom: LINK names only components of the same ring or an inner one.
#
# srte_test(NAME [SHARDS count] LINK targets...)
#   The unit test NAMETest of tests/NAMETest.cpp, run by ctest; a long one in shards side by side.

include_guard(GLOBAL)

# Linked PRIVATE by everything that is compiled here, so that none of it reaches a user's build.
add_library(srte_warnings INTERFACE)
add_library(srte::warnings ALIAS srte_warnings)
target_compile_options(srte_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Werror
  # GCC 12 warns of overlaps and overflows in concatenations of a literal and a string where there are none.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>)

# What the shared library is made from: every component and header of the library's rings.
define_property(GLOBAL PROPERTY SRTE_LIBRARY_COMPONENTS)
define_property(GLOBAL PROPERTY SRTE_LIBRARY_HEADERS)

function(srte_component name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;HEADERS;LINK")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "srte_component(${name}): unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()

  set(target srte_${name})
  if(arg_SOURCES)
    add_library(${target} STATIC ${arg_SOURCES})
    set(usage PUBLIC)
    target_link_libraries(${target} PRIVATE srte::warnings)
    # The objects also go into the shared library, which shows only what SRTE_EXPORT marks.
    set_target_properties(${target} PROPERTIES
      POSITION_INDEPENDENT_CODE ON
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON)
  else()
    add_library(${target} INTERFACE)
    set(usage INTERFACE)
  endif()
  add_library(srte::${name} ALIAS ${target})
  target_sources(${target} ${usage}
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${arg_HEADERS})
  target_link_libraries(${target} ${usage} ${arg_LINK})

  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR
    BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE directory)
  if(directory MATCHES "^(Platform|SrTeTypes|SrTePolicy)(/|$)")
    if(arg_SOURCES)
      set_property(GLOBAL APPEND PROPERTY SRTE_LIBRARY_COMPONENTS ${target})
    endif()
    list(TRANSFORM arg_HEADERS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    set_property(GLOBAL APPEND PROPERTY SRTE_LIBRARY_HEADERS ${arg_HEADERS})
  endif()
endfunction()

function(srte_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SHARDS" "LINK")
  set(target ${name}Test)
  if(NOT EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${target}.cpp)
    message(FATAL_ERROR "srte_test(${name}): there is no ${CMAKE_CURRENT_SOURCE_DIR}/${target}.cpp")
  endif()
  add_executable(${target} ${target}.cpp)
  target_link_libraries(${target}
    PRIVATE srte::warnings ${arg_LINK} GTest::gmock GTest::gtest_main)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  # The same false alarm about concatenations in a third dress; tests build texts all the time.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>)
  target_precompile_headers(${target} REUSE_FROM srte_test_pch)
  if(NOT arg_SHARDS)
    set(arg_SHARDS 1)
  endif()
  foreach(shard RANGE 1 ${arg_SHARDS})
    set(test ${target})
    if(arg_SHARDS GREATER 1)
      string(APPEND test ${shard})
    endif()
    math(EXPR index "${shard} - 1")
    add_test(NAME ${test} COMMAND ${target} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
    set_tests_properties(${test} PROPERTIES
      TIMEOUT 900
      ENVIRONMENT
        "UBSAN_OPTIONS=print_stacktrace=1;GTEST_TOTAL_SHARDS=${arg_SHARDS};GTEST_SHARD_INDEX=${index}")
  endforeach()
endfunction()
