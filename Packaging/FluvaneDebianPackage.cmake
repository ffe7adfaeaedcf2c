# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# The Debian packages. What starts with it and what it leaves to others is in the files installed, so it needs no
# scripts of its own: desktop database, icon cache and manual index are renewed by the triggers of their packages.

# An address that is nobody's, until those who ship the package give theirs.
set(FLUVANE_MAINTAINER "The Fluvane developers <developers@fluvane.invalid>" CACHE STRING
    "Who answers for the package: a name and an address")
set(release 1)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME fluvane)
set(CPACK_PACKAGE_VENDOR "The Fluvane developers")
set(CPACK_PACKAGE_CONTACT ${FLUVANE_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
# Debug symbols are split off into a package of their own beside it, fluvane-dbgsym, for Tools/symbolize.
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
# With a real prefix, since some files name the programs by path.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
# Whatever the umask of who packs it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${release})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL fluvane fluvane-browser)
set(CPACK_DEBIAN_FLUVANE_PACKAGE_NAME fluvane)
set(CPACK_DEBIAN_FLUVANE_PACKAGE_SECTION net)
set(CPACK_DEBIAN_FLUVANE-BROWSER_PACKAGE_NAME fluvane-browser)
set(CPACK_DEBIAN_FLUVANE-BROWSER_PACKAGE_SECTION web)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FLUVANE_PACKAGE_DEPENDS "ca-certificates, shared-mime-info")
set(CPACK_DEBIAN_FLUVANE_PACKAGE_RECOMMENDS "default-dbus-session-bus | dbus-session-bus, qt6-wayland, qt6-translations-l10n, xdg-utils")
set(CPACK_DEBIAN_FLUVANE_PACKAGE_SUGGESTS fluvane-browser)
set(CPACK_DEBIAN_FLUVANE-BROWSER_PACKAGE_DEPENDS "fluvane (= ${PROJECT_VERSION}-${release})")
set(CPACK_DEBIAN_FLUVANE-BROWSER_PACKAGE_ENHANCES "firefox-esr, chromium")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_COMPONENT_FLUVANE_DESCRIPTION "download manager that fetches a file over several connections
Fluvane fetches a file in pieces over several HTTP connections at once, adds
connections while they make it faster, and carries on where it stopped after
a pause, a quit, a crash or a lost network. A file is checked against a
checksum if one is given, and never replaces another.

Rules send kinds of files and sites to folders of their own, downloads share
one speed limit, and everything can be done from a terminal too. It also runs
on machines without a display.")
set(CPACK_COMPONENT_FLUVANE-BROWSER_DESCRIPTION "let Firefox and Chromium hand their downloads to Fluvane
An extension for both browsers, and the small program by which it reaches
Fluvane. A download that begins in the browser is offered with the session
that it needs; only when Fluvane gets the same file, and the user agrees, is
the browser's own ended. Nothing is taken over until kinds of files have been
chosen in the extension's options.")
# CPack takes the application's module for a library that the system's loader has to be told of, unless the package
# has these scripts. Files that don't exist are left out of it.
set(CPACK_DEBIAN_FLUVANE_PACKAGE_CONTROL_EXTRA /nonexistent/postinst /nonexistent/postrm)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/conffiles "/etc/chromium/native-messaging-hosts/org.fluvane.fluvane.json
/etc/firefox-esr/fluvane-browser.js
")
set(CPACK_DEBIAN_FLUVANE-BROWSER_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/conffiles)

# The changelog of the package tells the day of the sources, so that the same sources give the same package.
string(REGEX MATCH "^([0-9]+)-([0-9]+)-([0-9]+)$" day ${FLUVANE_BUILT})
execute_process(COMMAND date --utc --date=${FLUVANE_BUILT} "+%a, %d %b %Y 00:00:00 +0000"
    OUTPUT_VARIABLE FLUVANE_CHANGED OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(FLUVANE_PACKAGE_VERSION ${PROJECT_VERSION}-${release})
configure_file(${CMAKE_SOURCE_DIR}/CHANGELOG.md changelog COPYONLY)
fluvane_install_compressed(${CMAKE_CURRENT_BINARY_DIR}/changelog ${CMAKE_INSTALL_DATADIR}/doc/fluvane)
foreach(package ${CPACK_COMPONENTS_ALL})
    set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME ${package})
    configure_file(changelog.Debian.in ${package}.changelog @ONLY)
    fluvane_install_compressed(${CMAKE_CURRENT_BINARY_DIR}/${package}.changelog
        ${CMAKE_INSTALL_DATADIR}/doc/${package} changelog.Debian)
    install(FILES copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package})
    configure_file(lintian-overrides.in ${package}.overrides @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
        RENAME ${package})
endforeach()

include(CPack)
