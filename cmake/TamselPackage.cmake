# The CMake package (one export for each component) and the pkg-config files.

include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/TamselSourceManager")

foreach(component core formats engine simulated host)
    if(TARGET tamsel_${component})
        install(EXPORT tamsel-${component} NAMESPACE Tamsel:: DESTINATION "${package_dir}")
    endif()
endforeach()

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/TamselSourceManagerConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/TamselSourceManagerConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/TamselSourceManagerConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_LIST_DIR}/FindDlib.cmake" "${CMAKE_CURRENT_LIST_DIR}/FindLibyuv.cmake"
    "${PROJECT_BINARY_DIR}/TamselSourceManagerConfig.cmake"
    "${PROJECT_BINARY_DIR}/TamselSourceManagerConfigVersion.cmake" DESTINATION "${package_dir}")

# Found from where the file stands, so that an installation may be moved.
file(RELATIVE_PATH prefix_from_pkgconfig "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")

# The libraries are static, so a program names all that they stand on.
function(tamsel_pkg_config file description requires libs)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/tamsel.pc.in" "${PROJECT_BINARY_DIR}/${file}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${file}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()

tamsel_pkg_config(tamsel-source-manager "Images and sensor verdicts for capture screens" "" "-ltamsel_core")
tamsel_pkg_config(tamsel-source-manager-simulated "A scripted phone on virtual time" ""
    "-ltamsel_simulated -ltamsel_engine -ltamsel_formats -ltamsel_core -pthread")
if(TAMSEL_HOST)
    set(gpsd "")
    if(TamselGpsd_FOUND)
        set(gpsd " libgps")
    endif()
    set(bus "")
    if(TamselBus_FOUND)
        set(bus " libsystemd")
    endif()
    set(pipewire "")
    if(TamselPipeWire_FOUND)
        set(pipewire " libpipewire-0.3")
    endif()
    set(heif "")
    if(TamselHeif_FOUND)
        set(heif " libheif")
    endif()
    set(faces "")
    if(TamselFaces_FOUND)
        set(faces " -ldlib -llapack -lblas")
    endif()
    tamsel_pkg_config(tamsel-source-manager-host "Real cameras on Linux"
        "libavdevice libavformat libavcodec libswresample libswscale libavutil libturbojpeg libpng libdeflate libwebp libwebpdemux zxing${heif}${gpsd}${bus}${pipewire}"
        "-ltamsel_host -ltamsel_engine -ltamsel_formats -ltamsel_core -lyuv${faces} -pthread")
endif()
