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
    if(FLUVANE_SANITIZE MATCHES "fuzzer")
        # Comparisons cost half of a fuzzer's time, and dictionaries tell more; the library's own branches tell nothing.
        # What the three checks look for, the address checks see as well.
        add_compile_options(-fno-sanitize-coverage=trace-cmp -fno-sanitize=null,alignment,object-size
            -fsanitize-coverage-ignorelist=${CMAKE_CURRENT_LIST_DIR}/NotCovered.txt)
    endif()
endif()

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

# The include roots, made anew by each configuration: a header that is gone leaves no link behind.
set(FLUVANE_INCLUDE_ROOTS ${CMAKE_BINARY_DIR}/include)
file(REMOVE_RECURSE ${FLUVANE_INCLUDE_ROOTS})

# Gives a target an include root with nothing but the headers beside its CMakeLists.txt, under their usual paths. Whoever
# doesn't link the target can't include them. Each header is a link of its own, since one layer's folder may be in
# another's.
function(fluvane_include_root target visibility)
    set(root ${FLUVANE_INCLUDE_ROOTS}/${target})
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${CMAKE_SOURCE_DIR}/Sources OUTPUT_VARIABLE folder)
    file(MAKE_DIRECTORY ${root}/${folder})
    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    foreach(header ${headers})
        cmake_path(GET header FILENAME name)
        file(CREATE_LINK ${header} ${root}/${folder}/${name} SYMBOLIC)
    endforeach()
    target_include_directories(${target} ${visibility} ${root})
endfunction()

# A layer is a static library of the sources beside its CMakeLists.txt; what it may see is what it links. Without
# sources it is its headers.
function(fluvane_layer name)
    cmake_parse_arguments(layer "" "" "LINKS;PRIVATE_LINKS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    if(NOT sources)
        add_library(${name} INTERFACE)
        fluvane_include_root(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE ${layer_LINKS})
        return()
    endif()
    file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    add_library(${name} STATIC ${sources} ${headers})
    fluvane_include_root(${name} PUBLIC)
    target_link_libraries(${name} PUBLIC ${layer_LINKS} PRIVATE FluvaneOptions ${layer_PRIVATE_LINKS})
endfunction()

# A layer of windows. What it needs of Qt's code generators is switched on.
function(fluvane_windows_layer name)
    cmake_parse_arguments(layer "" "" "LINKS;PRIVATE_LINKS" ${ARGN})
    fluvane_layer(${name} LINKS ${layer_LINKS} Qt6::Widgets PRIVATE_LINKS ${layer_PRIVATE_LINKS} fmt::fmt)
    target_compile_definitions(${name} PRIVATE QT_NO_KEYWORDS)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
endfunction()
