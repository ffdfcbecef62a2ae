# What every target of this project has in common.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")

find_program(TAMSEL_CCACHE ccache)
if(TAMSEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${TAMSEL_CCACHE}")
endif()

function(tamsel_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
        -Woverloaded-virtual $<$<BOOL:${TAMSEL_WERROR}>:-Werror> $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
endfunction()

# A static library whose public headers are the list HEADERS, below the include root BASE.
# tamsel_library(name BASE dir SOURCES … HEADERS …)
function(tamsel_library name)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "BASE" "SOURCES;HEADERS")
    add_library(${name} STATIC ${ARG_SOURCES})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS "${ARG_BASE}" FILES ${ARG_HEADERS})
    string(REPLACE "tamsel_" "" component ${name})
    set_target_properties(${name} PROPERTIES EXPORT_NAME ${component} VERIFY_INTERFACE_HEADER_SETS ON)
    target_compile_features(${name} PUBLIC cxx_std_23)
    add_library(Tamsel::${component} ALIAS ${name})
    tamsel_compile_options(${name})
    install(TARGETS ${name} EXPORT tamsel-${component} FILE_SET HEADERS ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()
