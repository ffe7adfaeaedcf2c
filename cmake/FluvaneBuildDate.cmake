# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# The day that a build is of, as FLUVANE_BUILT. The same sources give the same day: that of SOURCE_DATE_EPOCH if it is
# set, else of the last commit. Without either it is the day of the configuration.

find_package(Git QUIET)
block(PROPAGATE FLUVANE_BUILT)
    set(before "$ENV{SOURCE_DATE_EPOCH}")
    if(before STREQUAL "" AND GIT_FOUND AND EXISTS ${CMAKE_SOURCE_DIR}/.git)
        execute_process(COMMAND ${GIT_EXECUTABLE} log -1 --format=%ct WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
            OUTPUT_VARIABLE committed OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        set(ENV{SOURCE_DATE_EPOCH} "${committed}")
    endif()
    string(TIMESTAMP FLUVANE_BUILT "%Y-%m-%d" UTC)
    set(ENV{SOURCE_DATE_EPOCH} "${before}")
endblock()
