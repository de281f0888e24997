# The Debian package, by CPack: `./dev package`.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)  # the two programs, not all the tests
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME joinscope)
set(CPACK_PACKAGE_VERSION ${ORVALD_BASE})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${PROJECT_VERSION_TWEAK})
set(CPACK_PACKAGE_CONTACT "The joinscope developers <joinscope@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "tells why a host can or cannot use its Active Directory domain")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The security layer of directory binds is loaded at run time, and the support report shows the keytab with klist.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libsasl2-modules-gssapi-mit, krb5-user, perl")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
# What an administrator may have changed is kept.
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/conffiles")
include(CPack)
