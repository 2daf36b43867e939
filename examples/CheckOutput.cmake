# Runs the demonstration on the file that comes with it and compares what it prints with EXPECTED.
# The path of the file and the memory in use depend on the machine and are left out.
execute_process(COMMAND "${PROGRAM}" OUTPUT_VARIABLE printed RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "The program ended with ${status}")
endif()
cmake_path(GET EXPECTED PARENT_PATH data)
string(REPLACE "${data}/" "" printed "${printed}")
string(REGEX REPLACE "bytes of memory: [0-9]+" "bytes of memory: N" printed "${printed}")

file(READ "${EXPECTED}" expected)
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "Printed:\n${printed}")
endif()
