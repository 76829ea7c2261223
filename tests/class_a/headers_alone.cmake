# Every header of ksl compiles with nothing in front of it, and may be included twice.
file(GLOB KSL_HEADERS RELATIVE "${CMAKE_SOURCE_DIR}/src" CONFIGURE_DEPENDS
  "${CMAKE_SOURCE_DIR}/src/class_a/standard/*.h" "${CMAKE_SOURCE_DIR}/src/class_a/standard/detail/*.h")
set(KSL_HEADER_SOURCES)
foreach(header IN LISTS KSL_HEADERS)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/headers/${header}.cpp")
  file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"${header}\"\n#include \"${header}\"\n")
  list(APPEND KSL_HEADER_SOURCES "${source}")
endforeach()
add_library(ksl_headers_alone OBJECT ${KSL_HEADER_SOURCES})
target_link_libraries(ksl_headers_alone PRIVATE ksl::ksl)
