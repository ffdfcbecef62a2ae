# What every target of this project has in common.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

find_program(TAMSEL_CCACHE ccache)
if(TAMSEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # The sloppiness is what ccache asks for with precompiled headers.
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1 "${TAMSEL_CCACHE}")
endif()

function(tamsel_compile_options target)
    # A unity build (the sanitizers' presets) sees the names of other sources, too.
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic $<$<NOT:$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wshadow>
        -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual $<$<BOOL:${TAMSEL_WERROR}>:-Werror> $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
        # With -O3 g++ 12 sees uninitialised functions in aggregates that have initialisers for all members.
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-maybe-uninitialized>)
endfunction()

# The standard headers that nearly every source includes, compiled once for each target.
function(tamsel_precompiled_headers target)
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
    target_precompile_headers(${target} PRIVATE <algorithm> <any> <array> <atomic> <chrono> <deque> <expected> <filesystem>
        <functional> <map> <memory> <mutex> <optional> <string> <thread> <unordered_map> <utility> <variant> <vector> ${ARGN})
endfunction()

# Sources that have names in common with others of their target; a unity build compiles them alone.
function(tamsel_compile_alone)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# A static library whose public headers are the list HEADERS, below the include root BASE. They are installed under
# INSTALL_PREFIX in the include folder, which the exported target then names. The other headers of the folder are private:
# they are not installed. Each header, public or private, must compile alone (all_verify_interface_header_sets).
# tamsel_library(name BASE dir [INSTALL_PREFIX dir] SOURCES … HEADERS …)
function(tamsel_library name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "BASE;INSTALL_PREFIX" "SOURCES;HEADERS")
    add_library(${name} STATIC ${ARG_SOURCES})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${ARG_BASE}" FILES ${ARG_HEADERS})
    string(REPLACE "tamsel_" "" component ${name})
    set_target_properties(${name} PROPERTIES EXPORT_NAME ${component} VERIFY_INTERFACE_HEADER_SETS ON)
    target_compile_features(${name} PUBLIC cxx_std_23)
    file(GLOB_RECURSE private CONFIGURE_DEPENDS RELATIVE "${CMAKE_CURRENT_SOURCE_DIR}" "*.h")
    list(REMOVE_ITEM private ${ARG_HEADERS})
    add_library(${name}_private INTERFACE)
    target_sources(${name}_private INTERFACE FILE_SET HEADERS BASE_DIRS "${ARG_BASE}" FILES ${private})
    target_link_libraries(${name}_private INTERFACE ${name} $<TARGET_PROPERTY:${name},LINK_LIBRARIES>)
    set_target_properties(${name}_private PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
    add_library(Tamsel::${component} ALIAS ${name})
    tamsel_compile_options(${name})
    # Rules that compare with a limit must not depend on the processor: a product and a sum that are fused round once
    # instead of twice. No public header computes with floating-point products, so clients need not do the same.
    target_compile_options(${name} PRIVATE -ffp-contract=off)
    if(TAMSEL_PRECOMPILE)
        tamsel_precompiled_headers(${name})
    endif()
    install(TARGETS ${name} EXPORT tamsel-${component}
        FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${ARG_INSTALL_PREFIX}"
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()
