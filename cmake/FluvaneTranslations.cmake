# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# The catalogues of texts in other languages: each Translations/<language>.po becomes
# share/locale/<language>/LC_MESSAGES/fluvane.mo, in the build folder as where it is installed.

include(GNUInstallDirs)
find_program(MSGFMT msgfmt)
if(NOT MSGFMT)
    message(FATAL_ERROR "msgfmt is missing, a program of the package gettext. `Tools/install-packages build` gets it.")
endif()

function(fluvane_catalogue po language folder)
    set(catalogue ${folder}/${language}/LC_MESSAGES/fluvane.mo)
    cmake_path(GET catalogue PARENT_PATH beside)
    add_custom_command(OUTPUT ${catalogue}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${beside}
        # Read by our own reader, which wants this machine's byte order and no hash table.
        COMMAND ${MSGFMT} --no-hash --check-header --output-file=${catalogue} ${po}
        DEPENDS ${po} VERBATIM)
    set(FLUVANE_CATALOGUE ${catalogue} PARENT_SCOPE)
endfunction()

function(fluvane_catalogues)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/Translations/*.po)
    foreach(po ${sources})
        cmake_path(GET po STEM language)
        fluvane_catalogue(${po} ${language} ${CMAKE_BINARY_DIR}/share/locale)
        list(APPEND catalogues ${FLUVANE_CATALOGUE})
        install(FILES ${FLUVANE_CATALOGUE} DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
    endforeach()
    add_custom_target(fluvane-catalogues ALL DEPENDS ${catalogues})
endfunction()
