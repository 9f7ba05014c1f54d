# How tests are built and run. Every folder of tests/ says with these functions what it has.
find_package(GTest REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)

# Of the programs, sanitizer builds have the tools alone.
if(MOVA_SANITIZE)
  set(MOVA_TEST_PROGRAMS OFF)
else()
  set(MOVA_TEST_PROGRAMS ON)
endif()

# In virtual time one thread at a time goes on, by a lock that it is handed: whatever two threads do there is ordered, and
# the thread sanitizer cannot find a fault in it. Its build has the tests in real time, and those of that handing over.
set(MOVA_VIRTUAL_TIME_TESTS ON)
if(MOVA_SANITIZE STREQUAL "thread")
  set(MOVA_VIRTUAL_TIME_TESTS OFF)
endif()

# Tests are built quickly rather than fast; the code that they try keeps its optimisation.
function(mova_test_code target)
  if(MOVA_FUZZ)  # hunts want the speed
    return()
  endif()
  # What leads up to an expectation may leave its code unlooked at.
  target_compile_options(${target} PRIVATE -O0 -g0 -Wno-unused-result)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF)  # as the header was compiled
  if(target STREQUAL mova-test-support)
    target_precompile_headers(${target} PRIVATE <gmock/gmock.h> <string> <vector> <map> <functional> <memory>
                              ${CMAKE_SOURCE_DIR}/tests/support/CodeText.h)
  else()
    target_precompile_headers(${target} REUSE_FROM mova-test-support)
  endif()
endfunction()

# mova_test(NAME [SHARDS n] [UNITY n] [REAL_TIME] [BUSY] [THREADS] [SOURCES file...] [LIBRARIES library...]): the folder's test program,
# test-NAME, of all its files and SOURCES, compiled as one (UNITY: as ones of so many). SHARDS: it has much waiting and is dealt out to so many processes.
# REAL_TIME: it waits in real time and gets the processors before the others. BUSY: one beside those that wait.
# THREADS: it is for the thread sanitizer though it is in virtual time.
function(mova_test name)
  cmake_parse_arguments(TEST "REAL_TIME;BUSY;THREADS" "SHARDS;UNITY" "SOURCES;LIBRARIES" ${ARGN})
  if(NOT MOVA_VIRTUAL_TIME_TESTS AND NOT TEST_REAL_TIME AND NOT TEST_THREADS)
    return()
  endif()
  if(NOT TEST_UNITY)
    set(TEST_UNITY 0)  # no limit: GoogleTest's own templates are instantiated once a program
  endif()
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  add_executable(test-${name} ${sources} ${TEST_SOURCES})
  target_link_libraries(test-${name} PRIVATE mova-test-support mova-handset GTest::gmock_main ${TEST_LIBRARIES})
  mova_test_code(test-${name})
  if(MOVA_SANITIZE STREQUAL "thread")  # its runtime has an operator new as some tests have: theirs comes first
    target_link_options(test-${name} PRIVATE -Wl,-z,muldefs)
  endif()
  set_target_properties(test-${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${TEST_UNITY})
  set(shards 1)
  if(TEST_SHARDS)
    set(shards ${TEST_SHARDS})
  endif()
  set(label virtual-time)
  set(priority nice -n 19)
  if(TEST_REAL_TIME)
    set(label real-time)
    set(priority)
  endif()
  foreach(shard RANGE 1 ${shards})
    math(EXPR index "${shard} - 1")
    add_test(NAME ${name}-${shard} COMMAND ${priority} $<TARGET_FILE:test-${name}> --gtest_brief=1)
    set_tests_properties(${name}-${shard} PROPERTIES TIMEOUT 900 LABELS ${label}
                         ENVIRONMENT "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${index}")
    if(TEST_BUSY)
      set_tests_properties(${name}-${shard} PROPERTIES PROCESSORS 4)
    endif()
  endforeach()
endfunction()

# mova_tool_test(NAME COMMAND...): tries the tools as their users do, in real time; also under the address and
# undefined-behaviour sanitizers. What lives until the program ends is no leak.
function(mova_tool_test name)
  if(MOVA_TOOL_PROGRAMS)
    add_test(NAME ${name} COMMAND ${ARGN})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900 LABELS real-time
                         ENVIRONMENT "PYTHONDONTWRITEBYTECODE=1;ASAN_OPTIONS=detect_leaks=0")
  endif()
endfunction()

# mova_program_test(NAME COMMAND...): tries programs as their users do, in real time. Not under sanitizers.
function(mova_program_test name)
  if(MOVA_TEST_PROGRAMS)
    add_test(NAME ${name} COMMAND ${ARGN})
    set_tests_properties(${name} PROPERTIES TIMEOUT 900 LABELS real-time ENVIRONMENT PYTHONDONTWRITEBYTECODE=1)
  endif()
endfunction()
