# The libraries from Debian, each as one imported target.
find_package(PkgConfig REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(GTest REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(krb5 REQUIRED IMPORTED_TARGET krb5 krb5-gssapi)
pkg_check_modules(cares REQUIRED IMPORTED_TARGET libcares)
pkg_check_modules(ldap REQUIRED IMPORTED_TARGET ldap)
pkg_check_modules(lber REQUIRED IMPORTED_TARGET lber)
pkg_check_modules(sasl REQUIRED IMPORTED_TARGET libsasl2)
pkg_check_modules(nettle REQUIRED IMPORTED_TARGET nettle)
pkg_check_modules(libarchive REQUIRED IMPORTED_TARGET libarchive)
pkg_check_modules(tdb REQUIRED IMPORTED_TARGET tdb)
pkg_check_modules(zlib REQUIRED IMPORTED_TARGET zlib)
pkg_check_modules(libcurl REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(cpphttplib REQUIRED IMPORTED_TARGET cpp-httplib openssl)

# com_err gives error_message(); krb5-config's pkg-config file leaves it out. k5crypto names encryption types.
find_library(COM_ERR_LIBRARY com_err REQUIRED)
find_library(K5CRYPTO_LIBRARY k5crypto REQUIRED)
