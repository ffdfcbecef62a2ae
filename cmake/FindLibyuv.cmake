# Debian's libyuv comes without a description of its own: target Libyuv::yuv.
find_path(Libyuv_INCLUDE_DIR libyuv/convert_argb.h)
find_library(Libyuv_LIBRARY yuv)
mark_as_advanced(Libyuv_INCLUDE_DIR Libyuv_LIBRARY)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Libyuv REQUIRED_VARS Libyuv_LIBRARY Libyuv_INCLUDE_DIR)
if(Libyuv_FOUND AND NOT TARGET Libyuv::yuv)
    add_library(Libyuv::yuv UNKNOWN IMPORTED)
    set_target_properties(Libyuv::yuv PROPERTIES IMPORTED_LOCATION "${Libyuv_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${Libyuv_INCLUDE_DIR}")
endif()
