# The Debian package: `cpack -G DEB` in the build folder (or `make package` at the
# top) makes quillmere_<version>-<revision>_<arch>.deb from the install rules of
# packaging/. Depends is read from the programs' shared libraries by dpkg-shlibdeps;
# the Qt SQL drivers are loaded as plug-ins, so no library names them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillmere)
set(CPACK_PACKAGE_VENDOR Quillmere)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX ${QUILLMERE_PACKAGE_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "administration of the FTP accounts an FTP server reads from a database")
set(CPACK_PACKAGE_DESCRIPTION
    "Quillmere (the program Vantrel) manages the FTP accounts that an FTP server
reads from a relational database (SQLite, PostgreSQL or SQL Server): accounts,
passwords, home folders, directory rights, options, ratios, quotas and IP
rules, with a daily sweep of expired accounts.

The package also holds Gatewick, the authentication handler that pure-ftpd's
pure-authd runs for each log-in (with a systemd unit that starts pure-authd),
the tools that move the users of an FTP server's INI file into the database,
the updater and the administrator's manual.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${QUILLMERE_PACKAGE_RELEASE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${QUILLMERE_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${QUILLMERE_WEBSITE_URL})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libqt6sql6-sqlite, libqt6sql6-psql, libqt6sql6-odbc, tdsodbc")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "pure-ftpd")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
