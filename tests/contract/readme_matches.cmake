# The README's program is examples/first_scan.c to the letter, and prints what the README says.
# BUILD is the folder that the README calls build.
file(READ ${SOURCE_DIR}/README.md readme)
file(READ ${SOURCE_DIR}/examples/first_scan.c program)
string(FIND "${readme}" "```c\n${program}```" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md does not hold examples/first_scan.c as it stands")
endif()
string(REGEX MATCHALL "\n" lines "${program}")
list(LENGTH lines count)
if(count GREATER 40)
  message(FATAL_ERROR "examples/first_scan.c has ${count} lines, the README promises 40")
endif()

set(PROGRAM ${BUILD}/examples/first_scan)
execute_process(COMMAND ${PROGRAM} ${BUILD}/libcolx_x86.so OUTPUT_VARIABLE output
  RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR NOT output STREQUAL "4 rows: 2 4 6 8\n")
  message(FATAL_ERROR "first_scan ended with ${status} and printed: ${output}")
endif()
string(FIND "${readme}"
  "`build/examples/first_scan build/libcolx_x86.so` prints `4 rows: 2 4 6 8`" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md promises another output, or of another command")
endif()
execute_process(COMMAND ${PROGRAM} ${SOURCE_DIR}/README.md ERROR_VARIABLE error
  RESULT_VARIABLE status)
if(NOT status EQUAL 2 OR error STREQUAL "")
  message(FATAL_ERROR "first_scan on a file that is no library ended with ${status}: ${error}")
endif()
