# Runs an example program on FILE, which it cannot show: it says MESSAGE, prints nothing and ends
# with 1.
execute_process(COMMAND "${PROGRAM}" "${FILE}"
  OUTPUT_VARIABLE printed ERROR_VARIABLE complaint RESULT_VARIABLE status)
if(NOT status EQUAL 1 OR NOT printed STREQUAL "" OR NOT complaint MATCHES "${MESSAGE}")
  message(FATAL_ERROR "Status: ${status}\nPrinted: ${printed}\nComplaint: ${complaint}")
endif()
