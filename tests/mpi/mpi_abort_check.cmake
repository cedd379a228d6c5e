# Runs the abort program under mpirun and checks that the whole run ended
# with the failure's code and the failing rank's report: a failed launch
# ends it with 701 & 255 = 189, a failed allocation with -1 & 255 = 255.
execute_process(COMMAND ${MPIEXEC} ${NP_FLAG} ${NP} ${FLAGS} ${PROGRAM} ${STORAGE} ${FAULT}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
message("${out}")
math(EXPR last "${NP} - 1")
if(FAULT STREQUAL "alloc")
  set(code 255)
  # mpirun forwards each rank's lines as they come, so another rank's line
  # may fall between the two lines of the report.
  set(report "CPUID:${last}GPU memory allocation failed: out of memory\\.\n(.*\n)?GPU\\[0:[^]]*\\] memory size: [0-9]+\n")
else()
  set(code 189)
  set(report "CPUID:${last}GPU\\[0:[^]]*\\] Computing failed: too many resources requested for launch\\.\n")
endif()
if(NOT rc EQUAL code)
  message(FATAL_ERROR "mpirun exited with '${rc}', expected ${code}\n${err}")
endif()
if(NOT out MATCHES "${report}")
  message(FATAL_ERROR "no distributed failure report of rank ${last}")
endif()
if(out MATCHES "returned from the solver")
  message(FATAL_ERROR "a rank went on after the abort")
endif()
