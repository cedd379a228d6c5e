# Runs PROGRAM on FILE and checks that it fails with EXPECT in its error text.
execute_process(COMMAND ${PROGRAM} ${FILE} RESULT_VARIABLE status ERROR_VARIABLE err OUTPUT_QUIET)
if(status EQUAL 0)
  message(FATAL_ERROR "accepted ${FILE}")
endif()
string(FIND "${err}" "${EXPECT}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "error text '${err}' does not contain '${EXPECT}'")
endif()
