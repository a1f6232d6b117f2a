# What an installation holds: the library, its headers and data, the tool, and the two ways of finding them.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KelMIME)

install(TARGETS kelmime_library EXPORT KelMIMETargets)
install(DIRECTORY include/kelmime DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY resources/ DESTINATION ${CMAKE_INSTALL_DATADIR}/kelmime FILES_MATCHING PATTERN "*.plist")
install(EXPORT KelMIMETargets NAMESPACE KelMIME:: DESTINATION ${package_dir})

if(TARGET kelmime)
  file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(kelmime PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
  install(TARGETS kelmime)
endif()

configure_package_config_file(cmake/KelMIMEConfig.cmake.in ${PROJECT_BINARY_DIR}/KelMIMEConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KelMIMEConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KelMIMEConfig.cmake ${PROJECT_BINARY_DIR}/KelMIMEConfigVersion.cmake
  DESTINATION ${package_dir})

# pkg-config knows where the file lies, so that an installed tree can be moved.
file(RELATIVE_PATH to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/kelmime.pc.in ${PROJECT_BINARY_DIR}/kelmime.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelmime.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
