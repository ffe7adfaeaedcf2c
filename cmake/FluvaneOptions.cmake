# SPDX-FileCopyrightText: The Fluvane developers
# SPDX-License-Identifier: GPL-3.0-or-later

# How every target of ours is built: warnings, sanitizers, and the one way to declare a layer.

option(FLUVANE_TESTS "Build the tests" ON)
option(FLUVANE_BENCHMARKS "Build the benchmarks" ON)
# Whatever is built in a folder has one command line for each source, whoever asks for it first: so warnings are errors
# by the compiler and not by the script. Those that we don't know may warn of what we couldn't see.
set(compiler_is_known OFF)
if((CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION MATCHES "^12\\.")
        OR (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND CMAKE_CXX_COMPILER_VERSION MATCHES "^14\\."))
    set(compiler_is_known ON)
endif()
option(FLUVANE_WERROR "Treat warnings as errors" ${compiler_is_known})
set(FLUVANE_SANITIZE "" CACHE STRING "Sanitizers for -fsanitize=, for example address,undefined")

add_library(FluvaneOptions INTERFACE)
target_compile_options(FluvaneOptions INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${FLUVANE_WERROR}>:-Werror>
    # GCC 12 sees overlaps in joined strings where none can be, once it optimises.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(FLUVANE_SANITIZE)
    add_compile_options(-fsanitize=${FLUVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${FLUVANE_SANITIZE})
endif()

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# A layer is a static library of the sources beside its CMakeLists.txt; what it may see is what it links.
function(fluvane_layer name)
    cmake_parse_arguments(layer "" "" "LINKS;PRIVATE_LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/Sources)
    target_link_libraries(${name} PUBLIC ${layer_LINKS} PRIVATE FluvaneOptions ${layer_PRIVATE_LINKS})
endfunction()

# A layer of windows. What it needs of Qt's code generators is switched on.
function(fluvane_windows_layer name)
    cmake_parse_arguments(layer "" "" "LINKS;PRIVATE_LINKS" ${ARGN})
    fluvane_layer(${name} LINKS ${layer_LINKS} Qt6::Widgets PRIVATE_LINKS ${layer_PRIVATE_LINKS} fmt::fmt)
    target_compile_definitions(${name} PRIVATE QT_NO_KEYWORDS)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
endfunction()
