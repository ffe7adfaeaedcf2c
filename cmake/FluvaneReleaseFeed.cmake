# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# Where a build looks for newer releases, and whose signature it believes. A build for a distribution has neither:
# the system's packages are updated by the system.

set(FLUVANE_RELEASE_FEED "" CACHE STRING "http or https link of the signed feed of releases; empty: no checks for updates")
set(FLUVANE_RELEASE_KEY "" CACHE STRING "Ed25519 public key of the feed's publisher, as PEM or base64")

if(FLUVANE_RELEASE_FEED)
    if(NOT FLUVANE_RELEASE_FEED MATCHES "^https?://")
        message(FATAL_ERROR "FLUVANE_RELEASE_FEED is neither an http nor an https link.")
    endif()
    if(NOT FLUVANE_RELEASE_KEY)
        message(FATAL_ERROR "FLUVANE_RELEASE_FEED needs FLUVANE_RELEASE_KEY: an unsigned feed is never believed.")
    endif()
endif()
# In one line, which is the base64 of its DER form.
string(REGEX REPLACE "-----[A-Z ]+-----|[ \r\n]" "" FLUVANE_RELEASE_KEY_LINE "${FLUVANE_RELEASE_KEY}")
