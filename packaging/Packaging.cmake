# `make package`: one Debian package with the window, the terminal program, the
# desktop entry, icon, AppStream metainfo and manual page. Library dependencies come
# from dpkg-shlibdeps; what the programs start or load at run time is named here.
include(GNUInstallDirs)
install(FILES ${CMAKE_CURRENT_LIST_DIR}/org.tovo.Tovo.metainfo.xml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tovo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Tovo maintainers <maintainers@tovo.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "eject external disks safely, and see what keeps them busy")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Tovo lists the external disks that are mounted and ejects them through udisks2.
When a disk is busy it finds out with lsof which processes hold it, explains each
one, and after you confirm asks the apps it may to quit, waits, checks again and
ejects. It never forces anything.

The package holds the window (Tovo) and the terminal program (tovo).")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# lsof and udisksd are started and called at run time; Qt loads its platform plugins.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "lsof, udisks2, qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "adwaita-icon-theme")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
include(CPack)
