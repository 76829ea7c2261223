# An application outside the tree finds the installed package, builds with every header of it, and runs.
set(KSL_SANITIZER_FLAGS "")
if(QUILLON_SANITIZER STREQUAL "address")
  set(KSL_SANITIZER_FLAGS "-fsanitize=address,undefined")
elseif(QUILLON_SANITIZER STREQUAL "thread")
  set(KSL_SANITIZER_FLAGS "-fsanitize=thread")
endif()
add_test(NAME ksl.installed COMMAND "${CMAKE_COMMAND}" "-DBUILD=${CMAKE_BINARY_DIR}"
  "-DAPPLICATION=${CMAKE_CURRENT_SOURCE_DIR}/installed" "-DWORK=${CMAKE_CURRENT_BINARY_DIR}/installed"
  "-DGENERATOR=${CMAKE_GENERATOR}" "-DCOMPILER=${CMAKE_CXX_COMPILER}" "-DFLAGS=${KSL_SANITIZER_FLAGS}"
  -P "${CMAKE_CURRENT_SOURCE_DIR}/install_and_run.cmake")
set_tests_properties(ksl.installed PROPERTIES LABELS ksl TIMEOUT 300)
