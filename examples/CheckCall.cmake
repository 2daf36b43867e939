# Runs an example program with ARGUMENTS, split as a shell does, in DIRECTORY: it ends with STATUS,
# prints what matches PRINTED and complains in words that match COMPLAINT. Without one of these it
# prints, or complains of, nothing.
separate_arguments(arguments UNIX_COMMAND "${ARGUMENTS}")
if(NOT DIRECTORY)
  set(DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}")
endif()
execute_process(COMMAND "${PROGRAM}" ${arguments} WORKING_DIRECTORY "${DIRECTORY}"
  OUTPUT_VARIABLE printed ERROR_VARIABLE complaint RESULT_VARIABLE status)
foreach(expected PRINTED COMPLAINT)
  if(NOT ${expected})
    set(${expected} "^$")
  endif()
endforeach()
if(NOT status EQUAL STATUS OR NOT printed MATCHES "${PRINTED}" OR
   NOT complaint MATCHES "${COMPLAINT}")
  message(FATAL_ERROR "Status: ${status}\nPrinted: ${printed}\nComplaint: ${complaint}")
endif()
