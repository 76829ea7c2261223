# What an application needs to build with ksl: the component "ksl" of the installation.
include(CMakePackageConfigHelpers)

set(KSL_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ksl")

install(TARGETS ksl EXPORT ksl-targets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ksl
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ksl
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ksl
  FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ksl" COMPONENT ksl
  FILE_SET platform DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/ksl" COMPONENT ksl)
install(EXPORT ksl-targets NAMESPACE ksl:: DESTINATION "${KSL_CMAKE_DIR}" COMPONENT ksl)

configure_package_config_file("${CMAKE_SOURCE_DIR}/cmake/ksl-config.cmake.in" ksl-config.cmake
  INSTALL_DESTINATION "${KSL_CMAKE_DIR}" PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(ksl-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_SOURCE_DIR}/docs/ksl.md" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/ksl" COMPONENT ksl)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/ksl-config.cmake" "${CMAKE_CURRENT_BINARY_DIR}/ksl-config-version.cmake"
  DESTINATION "${KSL_CMAKE_DIR}" COMPONENT ksl)
