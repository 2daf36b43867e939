# With EXAMPLE: writes the block marked cpp of README to that file. With PROGRAM: runs it and
# compares what it prints with the block marked text.

# read_block(<language> <variable>): the only block of README that is marked with the language.
function(read_block language variable)
  file(READ "${README}" text)
  string(FIND "${text}" "```${language}\n" first)
  string(FIND "${text}" "```${language}\n" last REVERSE)
  if(first EQUAL -1 OR NOT first EQUAL last)
    message(FATAL_ERROR "${README}: there is not exactly one block marked ${language}")
  endif()
  string(LENGTH "```${language}\n" mark)
  math(EXPR first "${first} + ${mark}")
  string(SUBSTRING "${text}" ${first} -1 text)
  string(FIND "${text}" "```" end)
  string(SUBSTRING "${text}" 0 ${end} text)
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

if(EXAMPLE)
  read_block(cpp source)
  file(WRITE "${EXAMPLE}" "${source}")
  return()
endif()

execute_process(COMMAND "${PROGRAM}" OUTPUT_VARIABLE printed RESULT_VARIABLE status)
read_block(text expected)
if(NOT status EQUAL 0 OR NOT printed STREQUAL expected)
  message(FATAL_ERROR "Status: ${status}\nPrinted:\n${printed}")
endif()
