# rvzgpu_add_checked_test(NAME name [STATUS status] [PASS regex] [FAIL regex]
#                         COMMAND program args...)
# A test that runs a program and checks its exit status as well as its
# output. A plain PASS_REGULAR_EXPRESSION makes CTest ignore the exit status,
# so a program that prints the expected line and then crashes, or ends with a
# sanitizer report, would pass. STATUS is the expected exit status (default
# 0; "nonzero" for any failure); PASS must match and FAIL must not match the
# program's stdout and stderr together. Other test properties (TIMEOUT,
# ENVIRONMENT, ...) are set by the caller as usual.
set(RVZGPU_CHECKED_RUN_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/checked_run.cmake)

function(rvzgpu_add_checked_test)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;STATUS;PASS;FAIL" "COMMAND")
  if(NOT arg_NAME OR NOT arg_COMMAND)
    message(FATAL_ERROR "rvzgpu_add_checked_test needs NAME and COMMAND")
  endif()
  if(NOT DEFINED arg_STATUS)
    set(arg_STATUS 0)
  endif()
  add_test(NAME ${arg_NAME}
    COMMAND ${CMAKE_COMMAND} -DSTATUS=${arg_STATUS} "-DPASS=${arg_PASS}" "-DFAIL=${arg_FAIL}"
            -P ${RVZGPU_CHECKED_RUN_SCRIPT} -- ${arg_COMMAND})
endfunction()
