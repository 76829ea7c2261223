# Installs the component ksl from BUILD into a folder below WORK, and builds and runs APPLICATION with it.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} ended with ${result}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" --install "${BUILD}" --component ksl --prefix "${WORK}/prefix")
run("${CMAKE_COMMAND}" -S "${APPLICATION}" -B "${WORK}/build" -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DCMAKE_PREFIX_PATH=${WORK}/prefix")
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run("${WORK}/build/application")
if(NOT output STREQUAL "Cannot parse severity mask 'x'. (Invalid value.)\n")
  message(FATAL_ERROR "the application printed: ${output}")
endif()
