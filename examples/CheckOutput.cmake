# Runs an example program, on FILE or on what comes with it, and compares what it prints with
# EXPECTED.
execute_process(COMMAND "${PROGRAM}" ${FILE} OUTPUT_VARIABLE printed RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "The program ended with ${status}")
endif()
file(READ "${EXPECTED}" expected)
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "Printed:\n${printed}")
endif()
