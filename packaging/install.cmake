# Where `cmake --install` puts things, as a Linux system expects them, and
# the Debian package CPack makes of them (`make package`, or `cpack -G DEB`
# in the build folder).
#
# The programs find their data relative to their own folder: mkdemo its demo
# sources in ../share/mantrel/demo (with the message texts beside them in
# ../share/mantrel/messages), the Help buttons the manual in
# ../share/doc/mantrel/manual.md.
set(MANTREL_DATA_DIR ${CMAKE_INSTALL_DATADIR}/mantrel)
set(MANTREL_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/mantrel)

install(DIRECTORY ${CMAKE_SOURCE_DIR}/data/messages/
        DESTINATION ${MANTREL_DATA_DIR}/messages
        FILES_MATCHING PATTERN "*.txt")
install(DIRECTORY ${CMAKE_SOURCE_DIR}/data/demo/
        DESTINATION ${MANTREL_DATA_DIR}/demo)
install(FILES ${CMAKE_SOURCE_DIR}/man/mantrel.1 ${CMAKE_SOURCE_DIR}/man/tbltool.1
              ${CMAKE_SOURCE_DIR}/man/mkdemo.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_SOURCE_DIR}/docs/manual.md ${CMAKE_SOURCE_DIR}/README.md
              ${CMAKE_SOURCE_DIR}/docs/tbltool.md ${CMAKE_SOURCE_DIR}/docs/demo.md
              ${CMAKE_SOURCE_DIR}/docs/toolkit.md ${CMAKE_SOURCE_DIR}/docs/install.md
        DESTINATION ${MANTREL_DOC_DIR})
install(FILES ${CMAKE_SOURCE_DIR}/packaging/mantrel.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${CMAKE_SOURCE_DIR}/packaging/mantrel.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME mantrel)
set(CPACK_PACKAGE_VENDOR "Mantrel")
set(CPACK_PACKAGE_CONTACT "Mantrel maintainers <maintainers@mantrel.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "changes a homeopathic repertory in bulk and mends it")
set(CPACK_PACKAGE_DESCRIPTION
    "Mantrel replays logs of personal changes on a repertory, lists them,\n rebuilds damaged tables and checks a repertory's tables against each\n other. It comes with tbltool, which inspects and repairs single tables,\n and mkdemo, which builds a demonstration installation.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The shared libraries the programs link (the C++ runtime, Qt 6 when the
# desktop window is built) become the package's dependencies.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(MANTREL_HAVE_QT)
  # Qt finds its display plugins at run time; without them the desktop
  # window cannot start.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
endif()
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "less")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://mantrel.invalid/")
include(CPack)
