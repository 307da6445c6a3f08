# Fails unless PROGRAM succeeds and prints the contents of the file EXPECTED.

execute_process(COMMAND "${PROGRAM}" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
file(READ "${EXPECTED}" expected)
if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${PROGRAM} prints\n${output}instead of\n${expected}")
endif()
