# Installs what depends on the prefix in another way than by lying below it: options files, links and the
# service unit. Runs when installing, since "cmake --install --prefix" may name another prefix than the
# build did. DESTDIR is honoured.

set(prefix "${CMAKE_INSTALL_PREFIX}")
set(tree "${prefix}/lib/vxhost")

# Below /usr the configuration is the system's; below any other prefix everything stays together, and
# the link from the tree is relative, so that the prefix may be moved.
if(IS_ABSOLUTE "${VX_SYSCONFDIR}")
  set(VX_CONFIGURATION "${VX_SYSCONFDIR}/vxhost")
  set(link "${VX_CONFIGURATION}")
elseif(prefix STREQUAL "/usr")
  set(VX_CONFIGURATION "/${VX_SYSCONFDIR}/vxhost")
  set(link "${VX_CONFIGURATION}")
else()
  set(VX_CONFIGURATION "${prefix}/${VX_SYSCONFDIR}/vxhost")
  set(link "../../${VX_SYSCONFDIR}/vxhost")
endif()
file(INSTALL "${VX_OPTIONS_FILES}" DESTINATION "${VX_CONFIGURATION}" TYPE DIRECTORY)

function(make_link target path)
  set(path "$ENV{DESTDIR}${path}")
  message(STATUS "Link: ${path} -> ${target}")
  get_filename_component(directory "${path}" DIRECTORY)
  file(MAKE_DIRECTORY "${directory}")
  file(CREATE_LINK "${target}" "${path}" SYMBOLIC)
endfunction()
make_link("${link}" "${tree}/etc")
make_link(../lib/vxhost/vxhost "${prefix}/bin/vxhost")

set(VX_PROGRAM "${prefix}/bin/vxhost")
set(VX_TOOL "${tree}/bin/isdct")
configure_file("${VX_UNIT_TEMPLATE}" "${VX_UNIT_FILE}" @ONLY)
if(NOT IS_ABSOLUTE "${VX_UNIT_DIR}")
  set(VX_UNIT_DIR "${prefix}/${VX_UNIT_DIR}")
endif()
file(INSTALL "${VX_UNIT_FILE}" DESTINATION "${VX_UNIT_DIR}" TYPE FILE)
