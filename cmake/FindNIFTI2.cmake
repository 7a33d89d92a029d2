# Finds niftilib's NIfTI-2 library. Debian 12 ships a CMake package for it that cannot be loaded: it names
# libraries and programs that are not there.
#
#   NIFTI2_FOUND      whether header and library were found
#   NIFTI2::nifti2    imported target; brings its own compression layer (znz)
find_path(NIFTI2_INCLUDE_DIR nifti2_io.h PATH_SUFFIXES nifti)
find_library(NIFTI2_LIBRARY nifti2)
find_library(NIFTI2_ZNZ_LIBRARY znz)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(NIFTI2 REQUIRED_VARS NIFTI2_LIBRARY NIFTI2_ZNZ_LIBRARY NIFTI2_INCLUDE_DIR)

if(NIFTI2_FOUND AND NOT TARGET NIFTI2::nifti2)
  add_library(NIFTI2::nifti2 UNKNOWN IMPORTED)
  set_target_properties(NIFTI2::nifti2 PROPERTIES IMPORTED_LOCATION "${NIFTI2_LIBRARY}"
                                                  INTERFACE_INCLUDE_DIRECTORIES "${NIFTI2_INCLUDE_DIR}"
                                                  INTERFACE_LINK_LIBRARIES "${NIFTI2_ZNZ_LIBRARY}")
endif()
mark_as_advanced(NIFTI2_INCLUDE_DIR NIFTI2_LIBRARY NIFTI2_ZNZ_LIBRARY)
