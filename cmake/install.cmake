# What `cmake --install` lays down: the library, its header, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS qvksse42 EXPORT qvksse42 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES frame/kdzk.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qvksse42)
install(EXPORT qvksse42 NAMESPACE qvk:: FILE qvksse42-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(qvksse42-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvksse42-config-version.cmake DESTINATION ${package_dir})

# The file finds its prefix from where it lies, so that an installed tree can be moved as a whole.
set(pc_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_to_lib ${pc_dir} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH pc_to_include ${pc_dir} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(cmake/qvksse42.pc.in qvksse42.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qvksse42.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
