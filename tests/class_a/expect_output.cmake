# Runs PROGRAM, which must succeed and print what the file EXPECTED holds, line ends aside.
execute_process(COMMAND "${PROGRAM}" OUTPUT_VARIABLE printed RESULT_VARIABLE result)
file(READ "${EXPECTED}" expected)
string(REPLACE "\r\n" "\n" printed "${printed}")
if(NOT result EQUAL 0 OR NOT "${printed}" STREQUAL "${expected}")
  message(FATAL_ERROR "${PROGRAM} ended with ${result}.\nIt printed:\n${printed}\nand not:\n${expected}")
endif()
