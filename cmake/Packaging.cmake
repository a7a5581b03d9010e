# The Debian packages that ./package makes: talvo-brindlet for a box, brindlet-virtual for any machine. To be included
# before the targets, as what is packaged is hardened and holds no path of the machine that built it.

option(BRINDLET_PACKAGE "Build what is to be packaged" OFF)
if(NOT BRINDLET_PACKAGE)
  return()
endif()

add_compile_options(-fstack-protector-strong -D_FORTIFY_SOURCE=2
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=." "-ffile-prefix-map=${BREAKPAD_DEPS}=breakpad")
if(CMAKE_SYSROOT)
  add_compile_options("-ffile-prefix-map=${CMAKE_SYSROOT}=")
endif()
add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:--as-needed)

set(packaging ${CMAKE_SOURCE_DIR}/packaging)

set(breakpad_licence "(Breakpad here is the system's own package.)")
if(EXISTS "${BREAKPAD_DEPS}/breakpad/LICENSE")
  # Behind this come the licences of what isn't built.
  file(READ "${BREAKPAD_DEPS}/breakpad/LICENSE" breakpad_licence)
  string(REGEX REPLACE "\n-+\nLicense for [^\n]*breakpad_getcontext.*" "" breakpad_licence "${breakpad_licence}")
endif()
configure_file(${packaging}/copyright.in ${CMAKE_BINARY_DIR}/copyright @ONLY)

# documentation(PACKAGE FILE...)
function(documentation package)
  set(folder share/doc/${package})
  set(changelog ${CMAKE_BINARY_DIR}/${package}.changelog)
  configure_file(${packaging}/changelog.in ${changelog} @ONLY)
  execute_process(COMMAND gzip -9nc ${changelog} OUTPUT_FILE ${changelog}.gz COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${changelog}.gz DESTINATION ${folder} COMPONENT ${package} RENAME changelog.gz)
  install(FILES ${CMAKE_BINARY_DIR}/copyright ${ARGN} DESTINATION ${folder} COMPONENT ${package})
endfunction()

set(product ${packaging}/talvo-brindlet)
documentation(talvo-brindlet docs/operations.md docs/shell.md docs/protocol.md)
install(FILES ${product}/talvo-brindlet.service DESTINATION /lib/systemd/system COMPONENT talvo-brindlet)
install(FILES ${product}/talvo-brindlet.conf DESTINATION lib/tmpfiles.d COMPONENT talvo-brindlet)
install(FILES ${product}/debug.conf DESTINATION share/talvo-brindlet COMPONENT talvo-brindlet)
install(PROGRAMS ${product}/prune-dumps DESTINATION libexec/talvo-brindlet COMPONENT talvo-brindlet)

documentation(brindlet-virtual docs/virtual-box.md)
install(PROGRAMS ${packaging}/brindlet-virtual/brindlet-site DESTINATION bin COMPONENT brindlet-virtual)
install(PROGRAMS scripts/site.sh scripts/site-inside.sh scripts/demo.sh
    DESTINATION share/brindlet-virtual/scripts COMPONENT brindlet-virtual)
install(FILES scripts/common.sh DESTINATION share/brindlet-virtual/scripts COMPONENT brindlet-virtual)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Sorvel <support@sorvel.example>")
set(CPACK_COMPONENTS_ALL talvo-brindlet brindlet-virtual)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# The symbols of a build stay in its symbols/.
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
      ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
  # It asks the tree's package database, not the machine's, which package a library is of.
  set(shlibdeps ${CMAKE_BINARY_DIR}/shlibdeps/dpkg-shlibdeps)
  file(CONFIGURE OUTPUT ${shlibdeps} @ONLY CONTENT
      "#!/bin/sh\nDEB_HOST_ARCH=armhf exec /usr/bin/dpkg-shlibdeps '--admindir=@CMAKE_SYSROOT@/var/lib/dpkg' \"$@\"\n")
  file(CHMOD ${shlibdeps} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
endif()

set(CPACK_DEBIAN_TALVO-BRINDLET_PACKAGE_NAME talvo-brindlet)
set(CPACK_DEBIAN_TALVO-BRINDLET_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TALVO-BRINDLET_PACKAGE_DEPENDS "net-tools, systemd")
set(CPACK_DEBIAN_TALVO-BRINDLET_PACKAGE_CONTROL_EXTRA ${product}/postinst ${product}/prerm ${product}/postrm)
set(CPACK_DEBIAN_TALVO-BRINDLET_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_TALVO-BRINDLET_DESCRIPTION "controller of the Brindlet audio box
TalvoBrindlet runs on the box's ARM Linux board, beside the FPGA that moves
the audio of eight inputs and eight outputs. It sets the FPGA up, takes the
commands of two routers, and follows the one that is active.

The service keeps it running, and gives it no more than that takes.")

set(CPACK_DEBIAN_BRINDLET-VIRTUAL_PACKAGE_NAME brindlet-virtual)
set(CPACK_DEBIAN_BRINDLET-VIRTUAL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_BRINDLET-VIRTUAL_PACKAGE_DEPENDS "iproute2, mount, net-tools, socat")
set(CPACK_DEBIAN_BRINDLET-VIRTUAL_DESCRIPTION "virtual Brindlet audio box and its two routers
The box's own controller on a virtual board, and virtual routers at the far
ends of its links, each in a network of its own.

The command brindlet-site starts all of them, or plays a demonstration.")

include(CPack)
