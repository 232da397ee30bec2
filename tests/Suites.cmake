# Read when ctest starts: one test for each suite of ${program}, so that a process is started for
# each suite and not for each case. What a failed suite writes names the case, also when its time
# is up.
if(NOT EXISTS ${program})
  cmake_path(GET program FILENAME name)
  add_test(${name}_NOT_BUILT ${name}_NOT_BUILT)
  return()
endif()
set(time_limit 600)
execute_process(COMMAND ${program} --gtest_list_tests
                OUTPUT_VARIABLE listing ERROR_VARIABLE listing RESULT_VARIABLE status
                TIMEOUT ${time_limit})
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${program} does not list its tests: ${status}\n${listing}")
endif()
string(REGEX MATCHALL "(^|\n)[A-Za-z0-9_/]+\\." suites "${listing}")
foreach(suite ${suites})
  string(REGEX REPLACE "[\n.]" "" suite ${suite})
  add_test(${suite} ${program} --gtest_filter=${suite}.*)
  set_tests_properties(${suite} PROPERTIES TIMEOUT ${time_limit})
endforeach()
