# dlib with the LAPACK and BLAS that its headers call: target Dlib::dlib. (Its own description would have programs link
# SQLite, libpng and libjpeg too, of which faces need none.)
find_path(Dlib_INCLUDE_DIR dlib/image_processing/frontal_face_detector.h)
find_library(Dlib_LIBRARY dlib)
find_library(Dlib_LAPACK_LIBRARY lapack)
find_library(Dlib_BLAS_LIBRARY blas)
mark_as_advanced(Dlib_INCLUDE_DIR Dlib_LIBRARY Dlib_LAPACK_LIBRARY Dlib_BLAS_LIBRARY)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(Dlib REQUIRED_VARS Dlib_LIBRARY Dlib_INCLUDE_DIR Dlib_LAPACK_LIBRARY
    Dlib_BLAS_LIBRARY)
if(Dlib_FOUND AND NOT TARGET Dlib::dlib)
    add_library(Dlib::dlib UNKNOWN IMPORTED)
    set_target_properties(Dlib::dlib PROPERTIES IMPORTED_LOCATION "${Dlib_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${Dlib_INCLUDE_DIR}"
        INTERFACE_LINK_LIBRARIES "${Dlib_LAPACK_LIBRARY};${Dlib_BLAS_LIBRARY}")
endif()
