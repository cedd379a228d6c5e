# Runs the abort program under mpirun and checks that the whole run ended
# with the injected failure's code (701 & 255 = 189) and the failing rank's
# report.
execute_process(COMMAND ${MPIEXEC} ${NP_FLAG} ${NP} ${FLAGS} ${PROGRAM} ${STORAGE}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err TIMEOUT 120)
message("${out}")
math(EXPR last "${NP} - 1")
if(NOT rc EQUAL 189)
  message(FATAL_ERROR "mpirun exited with '${rc}', expected 189\n${err}")
endif()
if(NOT out MATCHES "CPUID:${last}GPU\\[0:[^]]*\\] Computing failed: too many resources requested for launch\\.\n")
  message(FATAL_ERROR "no distributed failure report of rank ${last}")
endif()
if(out MATCHES "returned from the solver")
  message(FATAL_ERROR "a rank went on after the abort")
endif()
