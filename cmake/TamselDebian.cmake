# Debian packages: the command, and the library with its headers. `./dev package` makes them.

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL command library)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/compressManPages.cmake")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The TamselSourceManager maintainers <maintainers@tamsel.example>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME tamsel-capture)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION video)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "camera frames, stills, films, codes and motion verdicts
Takes stills and films with a camera, a video file, a stream or a test
pattern, waits for the moment when the device is held still and a code or a
face is in view, finds codes and faces in pictures, and says from a log of
motion sensors when a device was held still or tilted.")

# The libraries are static: what they stand on is named by the CMake package and the pkg-config files.
set(development libavdevice-dev libavformat-dev libavcodec-dev libswresample-dev libswscale-dev libavutil-dev
    libturbojpeg0-dev libpng-dev libdeflate-dev libwebp-dev libyuv-dev libzxing-dev pkg-config)
if(TamselHeif_FOUND)
    list(APPEND development libheif-dev)
endif()
if(TamselGpsd_FOUND)
    list(APPEND development libgps-dev)
endif()
if(TamselBus_FOUND)
    list(APPEND development libsystemd-dev)
endif()
if(TamselPipeWire_FOUND)
    list(APPEND development libpipewire-0.3-dev)
endif()
if(TamselFaces_FOUND)
    list(APPEND development libdlib-dev liblapack-dev libblas-dev)
endif()
list(JOIN development ", " CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libtamsel-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "images and sensor verdicts for capture screens (development files)
A C++23 library that supplies a capture screen with camera frames, stills,
films, codes and faces, and with verdicts on whether the device is held still
and tilted; and a scripted phone with virtual time to test the screen. Static
libraries, headers, a CMake package and pkg-config files.")

foreach(component command library)
    string(TOUPPER ${component} upper)
    install(FILES "${CMAKE_CURRENT_LIST_DIR}/copyright" COMPONENT ${component}
        DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}")
endforeach()

include(CPack)
