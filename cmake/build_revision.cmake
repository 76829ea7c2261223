# Writes OUTPUT, a header with the short hash of the source revision; "unknown" outside a git checkout.
execute_process(COMMAND git -C "${SOURCE_DIR}" rev-parse --short HEAD OUTPUT_VARIABLE revision
  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
if(failed)
  set(revision "unknown")
endif()
file(WRITE "${OUTPUT}.new" "#pragma once\ninline constexpr char BuildRevision[] = \"${revision}\";\n")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
