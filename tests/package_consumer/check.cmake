# Installs the built library into a scratch prefix, then configures, builds
# and runs a consumer that uses find_package(RVZGPU).
file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix RESULT_VARIABLE rc OUTPUT_QUIET)
if(rc)
  message(FATAL_ERROR "install failed")
endif()
# The consumer uses the compiler the package was built with (CXX): an archive
# built by clang with sanitizers links only with clang's runtimes.
execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${WORK}/build -G Ninja -DCMAKE_PREFIX_PATH=${WORK}/prefix
                        -DCMAKE_CXX_COMPILER=${CXX}
                RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer configure failed")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer build failed")
endif()
execute_process(COMMAND ${WORK}/build/consumer RESULT_VARIABLE rc)
if(rc)
  message(FATAL_ERROR "consumer run failed")
endif()
