# What else an installation of the server consists of, and the Debian package made of it. Everything here is
# the component "quillon"; ksl has a component of its own, which isn't in the package.
set(QUILLON_UNIT_DIR "lib/systemd/system")
set(QUILLON_DATA_DIR "${CMAKE_INSTALL_DATADIR}/quillon")
set(packaging "${CMAKE_SOURCE_DIR}/packaging")
set(made "${CMAKE_BINARY_DIR}/packaging")
file(MAKE_DIRECTORY "${made}")

# The unit's text has one source, the program that writes it.
install(CODE "
  execute_process(
    COMMAND \"${CMAKE_COMMAND}\" -E env --unset=QUILLON_HOME \"$<TARGET_FILE:quillonctl>\" unit
      --executable \"${CMAKE_INSTALL_FULL_SBINDIR}/quillon\" --tool \"${CMAKE_INSTALL_FULL_BINDIR}/quillonctl\"
    OUTPUT_FILE \"${made}/quillon.service\" COMMAND_ERROR_IS_FATAL ANY)" COMPONENT quillon)
install(FILES "${made}/quillon.service" DESTINATION "${QUILLON_UNIT_DIR}" COMPONENT quillon)

# install_compressed(FILE NAME DESTINATION): without a time stamp, so that the same tree gives the same package.
function(install_compressed file name destination)
  install(CODE "
    execute_process(COMMAND gzip -9nc \"${file}\" OUTPUT_FILE \"${made}/${name}.gz\" COMMAND_ERROR_IS_FATAL ANY)"
    COMPONENT quillon)
  install(FILES "${made}/${name}.gz" DESTINATION "${destination}" COMPONENT quillon)
endfunction()

foreach(page IN ITEMS quillonctl.1 bootptab.5 quillon-registry.5 quillon.8)
  string(REGEX REPLACE ".*\\." "" section "${page}")
  install_compressed("${packaging}/man/${page}" "${page}" "${CMAKE_INSTALL_MANDIR}/man${section}")
endforeach()
install_compressed("${packaging}/debian/changelog" changelog "${CMAKE_INSTALL_DOCDIR}")
install_compressed("${CMAKE_SOURCE_DIR}/CHANGELOG.md" CHANGELOG.md "${CMAKE_INSTALL_DOCDIR}")

install(FILES "${packaging}/debian/copyright" "${CMAKE_SOURCE_DIR}/docs/operating.md"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT quillon)
install(FILES "${packaging}/bootptab.sample" DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT quillon)
install(FILES "${packaging}/bootptab.initial" DESTINATION "${QUILLON_DATA_DIR}" COMPONENT quillon)

# Where the shells look for the completions of packages.
install(FILES "${packaging}/completions/quillonctl.bash" RENAME quillonctl
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT quillon)
install(FILES "${packaging}/completions/_quillonctl"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions" COMPONENT quillon)
install(FILES "${packaging}/completions/quillonctl.fish"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT quillon)
install(FILES "${packaging}/logrotate/quillon" DESTINATION "${CMAKE_INSTALL_FULL_SYSCONFDIR}/logrotate.d" COMPONENT quillon)

set(CPACK_GENERATOR DEB)
set(CPACK_RESOURCE_FILE_LICENSE "${CMAKE_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGE_VENDOR "Quillon")
set(CPACK_PACKAGE_CONTACT "Quillon maintainers <maintainers@quillon.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL quillon)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_QUILLON_PACKAGE_NAME quillon)
set(CPACK_DEBIAN_QUILLON_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENT_QUILLON_DESCRIPTION "boot server: BOOTP and DHCP replies from a fixed table
Quillon answers machines that boot from the network. It finds a client by its
hardware address in a text file and sends the reply that the file says, as
BOOTP or as DHCP, directed, by broadcast or through a relay agent. There are
no leases and no address pools.
.
The package installs a service that sends no reply until the file has clients.")
set(CPACK_DEBIAN_QUILLON_PACKAGE_CONTROL_EXTRA
  "${packaging}/debian/conffiles;${packaging}/debian/postinst;${packaging}/debian/prerm;${packaging}/debian/postrm")
include(CPack)
