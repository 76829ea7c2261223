# One set of compiler rules for every target of the tree.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

# A compiler cache may turn the paths of a command into ones from the build folder.
cmake_path(RELATIVE_PATH CMAKE_SOURCE_DIR BASE_DIRECTORY "${CMAKE_BINARY_DIR}" OUTPUT_VARIABLE source_from_build)

add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  -Wcast-qual -Wformat=2 -Werror
  # Nothing of ours is replaced by a library loaded before it, so calls within a file may be inlined.
  -fno-semantic-interposition
  # GCC's own. GCC 12 sees overlaps inside std::string's operator+ that cannot be (its PR 105651).
  "$<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond;-Wlogical-op;-Wno-restrict>"
  # __FILE__ is the path from the source root, wherever the tree was built: the last map that fits wins. Not
  # -ffile-prefix-map, which would win over both.
  "-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/="
  "-fmacro-prefix-map=${source_from_build}/="
  "-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/src/="
  "-fmacro-prefix-map=${source_from_build}/src/="
  "-fdebug-prefix-map=${CMAKE_SOURCE_DIR}/=")

# "address" (with undefined behaviour) or "thread"; the presets set it.
set(QUILLON_SANITIZER "" CACHE STRING "Sanitizer to build with: address, thread or none")
if(QUILLON_SANITIZER STREQUAL "address")
  # The check of vptr opens a pipe to look at memory, and reports a fault where a test has left no descriptor.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(QUILLON_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT QUILLON_SANITIZER STREQUAL "")
  message(FATAL_ERROR "QUILLON_SANITIZER is '${QUILLON_SANITIZER}'; it takes address, thread or nothing")
endif()
