# Runs PROGRAM (the built-in case) in WORKDIR with its standard output going
# to a file and stops it after a few seconds: the progress lines printed by
# then must already be in the file, flushed line by line rather than held
# in a buffer until the program exits.
file(MAKE_DIRECTORY ${WORKDIR})
execute_process(COMMAND ${PROGRAM} OUTPUT_FILE ${WORKDIR}/progress.txt ERROR_QUIET TIMEOUT 4
                WORKING_DIRECTORY ${WORKDIR})
file(READ ${WORKDIR}/progress.txt text)
if(NOT text MATCHES "channel: 24 x 15 x 15 cells[^\n]*\n *iter +continuity")
  message(FATAL_ERROR "the progress lines were not in the file while the program ran; it held:\n'${text}'")
endif()
