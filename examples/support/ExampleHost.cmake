# What the example hosts' projects begin with, whether they are part of the library's own build or projects of
# their own against the installed package: the library, and what the hosts share.
if(NOT TARGET mth::mth)
  find_package(mth CONFIG REQUIRED)
  list(APPEND CMAKE_MODULE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../cmake")
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
  endif()
endif()
find_package(CLI11 REQUIRED)
if(NOT TARGET mth_example_support)
  add_subdirectory("${CMAKE_CURRENT_LIST_DIR}" support)
endif()

# mth_configure_example(target): links a host with the library and with what the hosts share.
function(mth_configure_example target)
  target_link_libraries(${target} PRIVATE mth::mth mth_example_support CLI11::CLI11)
  if(COMMAND mth_configure_target)
    mth_configure_target(${target})
    mth_build_quickly(${target})
  endif()
endfunction()
