# Writes HEADER, which names the commit of SOURCE, and leaves the file alone where it is right.
execute_process(COMMAND git describe --always --dirty --abbrev=12 --exclude=*
  WORKING_DIRECTORY ${SOURCE} OUTPUT_VARIABLE commit RESULT_VARIABLE result
  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT result EQUAL 0 OR commit STREQUAL "")
  set(commit unknown)
endif()
file(CONFIGURE OUTPUT ${HEADER} CONTENT "#pragma once\n\n#define TALU_COMMIT \"${commit}\"\n")
