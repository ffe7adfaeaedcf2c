# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# What makes a fault in handling foreign bytes harder to use against the user: in the build that is shipped. Checks
# of memory bring their own.

if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT FLUVANE_SANITIZE)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong -fstack-clash-protection
        -Wformat -Wformat-security $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>)
    add_link_options(-Wl,-z,relro -Wl,-z,now)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
endif()
