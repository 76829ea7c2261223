# The floors of the house. Each library shows its headers under an include root of its own, made of links in the build tree, so
# that a source sees the floors that its library links, and an include of a floor above doesn't compile.
#
# quillon_floor_headers(TARGET SCOPE PATTERN...): the headers under src/ that fit the patterns. SCOPE as for
# target_include_directories.
function(quillon_floor_headers target scope)
  set(root "${CMAKE_BINARY_DIR}/floors/${target}")
  file(REMOVE_RECURSE "${root}")
  foreach(pattern IN LISTS ARGN)
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE "${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}/src/${pattern}")
    if(NOT headers)
      message(FATAL_ERROR "${target} has no header that fits ${pattern}")
    endif()
    foreach(header IN LISTS headers)
      cmake_path(GET header PARENT_PATH folder)
      file(MAKE_DIRECTORY "${root}/${folder}")
      file(CREATE_LINK "${CMAKE_SOURCE_DIR}/src/${header}" "${root}/${header}" SYMBOLIC)
    endforeach()
  endforeach()
  target_include_directories(${target} ${scope} "${root}")
endfunction()
