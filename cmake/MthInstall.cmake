# Installation: libraries, public headers, the pages that they name, CMake package and pkg-config files; the command-line
# hosts that were built. In components, of which `cmake --install … --component <name>` takes one: runtime (shared
# libraries), development (headers, static libraries, CMake and pkg-config), qt (the windows), tools (the hosts).
include(CMakePackageConfigHelpers)

set(MTH_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/mth")
set(MTH_DOC_DIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/mth")  # not DOCDIR, which is an enclosing project's

install(TARGETS mth mth_std EXPORT mthTargets
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
install(EXPORT mthTargets NAMESPACE mth:: DESTINATION "${MTH_PACKAGE_DIR}" COMPONENT development)

# What an installation takes, for builds of less than everything.
add_custom_target(mth_installed)
add_dependencies(mth_installed mth mth_std)

# A set of its own: hosts without Qt use the package all the same.
if(MTH_QT)
  add_dependencies(mth_installed mth_std_qt)
  install(TARGETS mth_std_qt EXPORT mthQtTargets
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT qt
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT qt
          RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT qt)
  install(EXPORT mthQtTargets NAMESPACE mth:: DESTINATION "${MTH_PACKAGE_DIR}" COMPONENT qt)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/std/qt" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/std" COMPONENT qt
          FILES_MATCHING PATTERN "*.h" PATTERN "*_internal.h" EXCLUDE)
endif()

# Every header is public but the internal ones, which share one of these names.
foreach(folder std mth)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${folder}"
          COMPONENT development FILES_MATCHING PATTERN "*.h" PATTERN "*_internal.h" EXCLUDE PATTERN "qt" EXCLUDE)
endforeach()

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/CHANGELOG.md"
        DESTINATION "${MTH_DOC_DIR}" COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/docs/denoising.md" "${PROJECT_SOURCE_DIR}/docs/minimisers.md"
              "${PROJECT_SOURCE_DIR}/docs/texture.md"
        DESTINATION "${MTH_DOC_DIR}/docs" COMPONENT development)

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/mthConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/mthConfig.cmake" INSTALL_DESTINATION "${MTH_PACKAGE_DIR}")
# Version 1 has all that hosts of earlier ones use.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/mthConfigVersion.cmake" COMPATIBILITY AnyNewerVersion)
install(FILES "${PROJECT_BINARY_DIR}/mthConfig.cmake" "${PROJECT_BINARY_DIR}/mthConfigVersion.cmake"
        DESTINATION "${MTH_PACKAGE_DIR}" COMPONENT development)

set(MTH_PKG_CONFIG_FILES mth)
if(MTH_QT)
  list(APPEND MTH_PKG_CONFIG_FILES mth_std_qt)
endif()
# Relative to the files themselves: right under any --prefix, and wherever the installation is moved.
file(RELATIVE_PATH MTH_PKG_CONFIG_TO_PREFIX "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" MTH_PKG_CONFIG_TO_PREFIX "${MTH_PKG_CONFIG_TO_PREFIX}")
foreach(folder LIBDIR INCLUDEDIR)  # which a packager may give as absolute ones, outside the prefix
  set(MTH_PKG_CONFIG_${folder} "${CMAKE_INSTALL_${folder}}")
  if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    string(PREPEND MTH_PKG_CONFIG_${folder} "\${prefix}/")
  endif()
endforeach()
foreach(name ${MTH_PKG_CONFIG_FILES})
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
  set(MTH_COMPONENT development)
  if(name STREQUAL mth_std_qt)
    set(MTH_COMPONENT qt)
  endif()
  install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
          COMPONENT ${MTH_COMPONENT})
endforeach()

# The workflow over cohorts is Python's and Snakemake's: nothing of it is built. It runs the hosts and goes with them; the
# library alone, as package managers take it, has no programs.
if(MTH_BUILD_EXAMPLES)
  install(PROGRAMS "${PROJECT_SOURCE_DIR}/workflows/cohort/mth-cohort" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/workflows/cohort/" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/mth/cohort"
          COMPONENT tools USE_SOURCE_PERMISSIONS
          PATTERN "tests" EXCLUDE PATTERN "mth-cohort" EXCLUDE PATTERN "__pycache__" EXCLUDE)
endif()
