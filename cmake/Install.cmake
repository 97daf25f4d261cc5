# cmake --install: the shared library, the public headers in their source tree
# layout, a CMake package (find_package(vision_superresolution_1_0), target
# vision_superresolution_1_0::vision_superresolution_1_0) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VSR_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/${VSR_LIB})
set(VSR_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${VSR_LIB})

install(TARGETS ${VSR_LIB} EXPORT ${VSR_LIB}Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY vorel vision DESTINATION ${VSR_INCLUDE_DIR} FILES_MATCHING PATTERN "*.h")
install(FILES ${VSR_GENERATED}/vision/superresolution/api/vision_superresolution_version.h
  DESTINATION ${VSR_INCLUDE_DIR}/vision/superresolution/api)

install(EXPORT ${VSR_LIB}Targets NAMESPACE ${VSR_LIB}:: DESTINATION ${VSR_PACKAGE_DIR})
configure_package_config_file(cmake/PackageConfig.cmake.in
  ${CMAKE_BINARY_DIR}/${VSR_LIB}Config.cmake INSTALL_DESTINATION ${VSR_PACKAGE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/${VSR_LIB}ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/${VSR_LIB}Config.cmake ${CMAKE_BINARY_DIR}/${VSR_LIB}ConfigVersion.cmake
  DESTINATION ${VSR_PACKAGE_DIR})

# Relative to the .pc file, so that an install with --prefix stays usable.
file(RELATIVE_PATH VSR_PC_TO_PREFIX /root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /root)
string(REGEX REPLACE "/$" "" VSR_PC_TO_PREFIX "${VSR_PC_TO_PREFIX}")
configure_file(cmake/pkgconfig.pc.in ${CMAKE_BINARY_DIR}/${VSR_LIB}.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/${VSR_LIB}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
