# Installs the library, its headers, the CMake package and the pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/dorvane-text")
set(header_dir "${CMAKE_INSTALL_INCLUDEDIR}/dorvane-text")

target_include_directories(dorvane-text PUBLIC "$<INSTALL_INTERFACE:${header_dir}>")
install(TARGETS dorvane-text EXPORT dorvane-text-targets FILE_SET HEADERS
  DESTINATION "${header_dir}")
install(EXPORT dorvane-text-targets NAMESPACE dorvane:: DESTINATION "${package_dir}")

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/dorvane-text-config.cmake.in"
  "${PROJECT_BINARY_DIR}/dorvane-text-config.cmake"
  INSTALL_DESTINATION "${package_dir}"
  NO_SET_AND_CHECK_MACRO)
# The interface may change between minor versions until 1.0.
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/dorvane-text-config-version.cmake" COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/dorvane-text-config.cmake"
  "${PROJECT_BINARY_DIR}/dorvane-text-config-version.cmake"
  DESTINATION "${package_dir}")

# The prefix is found from the place of the .pc file, so an installed tree may be moved.
set(pkgconfig_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}" OUTPUT_VARIABLE pc_prefix)
configure_file("${PROJECT_SOURCE_DIR}/cmake/dorvane-text.pc.in"
  "${PROJECT_BINARY_DIR}/dorvane-text.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/dorvane-text.pc" DESTINATION "${pkgconfig_dir}")
