# What `cmake --install` gives the people who build on the bridge: the bridge
# itself (SONAME libzynebridge.so.9, the interface version), the interface headers
# guests compile against, the guest-side glue, a pkg-config file and a CMake
# package whose zyne_add_guest() builds a guest with the right flags.
include(CMakePackageConfigHelpers)

set_target_properties(zynebridge PROPERTIES EXPORT_NAME bridge)
set_target_properties(zyneguest PROPERTIES EXPORT_NAME guest)

install(TARGETS zynebridge zyneguest
  EXPORT ZyneBridgeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${ZYNE_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zynebridge)

set(ZYNE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZyneBridge)
install(EXPORT ZyneBridgeTargets NAMESPACE ZyneBridge:: DESTINATION ${ZYNE_CMAKE_DIR})
configure_package_config_file(cmake/ZyneBridgeConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZyneBridgeConfig.cmake
  INSTALL_DESTINATION ${ZYNE_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZyneBridgeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/ZyneBridgeConfig.cmake
  ${PROJECT_BINARY_DIR}/ZyneBridgeConfigVersion.cmake
  cmake/ZyneGuest.cmake
  DESTINATION ${ZYNE_CMAKE_DIR})

configure_file(cmake/zynebridge.pc.in ${PROJECT_BINARY_DIR}/zynebridge.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zynebridge.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
