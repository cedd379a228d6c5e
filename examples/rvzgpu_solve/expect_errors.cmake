# Runs PROGRAM once per case listed in CASES and checks that each fails as
# the case says. A case is a line "STATUS | TEXT | ARGUMENTS" ('#' starts a
# comment line): the program, started with ARGUMENTS (@DATA@ stands for the
# folder DATA) after the optional LAUNCHER (its words separated by '|'),
# must exit with STATUS and print TEXT on its standard error. The cases run
# in WORKDIR (default: the current folder), into which the files of DATA
# are copied first when COPY_DATA is set (so that nothing a faulty program
# writes lands in the source tree). Every case runs; the failing ones are
# listed together.
cmake_minimum_required(VERSION 3.16)
file(STRINGS ${CASES} lines)
string(REPLACE "|" ";" launcher "${LAUNCHER}")
if(NOT WORKDIR)
  set(WORKDIR .)
elseif(COPY_DATA)
  file(REMOVE_RECURSE ${WORKDIR})
  file(COPY ${DATA}/ DESTINATION ${WORKDIR})
endif()
set(failed "")
set(count 0)
foreach(line IN LISTS lines)
  if(line MATCHES "^[ \t]*(#|$)")
    continue()
  endif()
  if(NOT line MATCHES "^ *([0-9]+) *\\| *([^|]*[^| ]) *\\| *(.*)$")
    message(FATAL_ERROR "${CASES}: malformed case '${line}'")
  endif()
  set(status ${CMAKE_MATCH_1})
  set(text "${CMAKE_MATCH_2}")
  string(REPLACE "@DATA@" "${DATA}" arguments "${CMAKE_MATCH_3}")
  separate_arguments(arguments UNIX_COMMAND "${arguments}")
  execute_process(COMMAND ${launcher} ${PROGRAM} ${arguments} RESULT_VARIABLE code ERROR_VARIABLE err
                  OUTPUT_QUIET WORKING_DIRECTORY ${WORKDIR})
  math(EXPR count "${count} + 1")
  string(FIND "${err}" "${text}" at)
  if(NOT code STREQUAL status OR at EQUAL -1)
    string(APPEND failed "\n  ${CMAKE_MATCH_3}: exit ${code} (want ${status}), error text '${err}' "
                         "(want it to contain '${text}')")
  elseif(err MATCHES "==[0-9]+==ERROR: [A-Za-z]+Sanitizer|: runtime error: ")
    string(APPEND failed "\n  ${CMAKE_MATCH_3}: sanitizer report on the error path:\n${err}")
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "cases that did not fail as expected:${failed}")
endif()
message(STATUS "${count} cases failed as expected")
