# What `cmake --install` copies: the library under its three names, the public header and those of
# the host toolkit as this tree spells them ("kernels/frame/colx_x86.h", "host/loader.h") below
# include/colx, the toolkit's archive, and what CMake and pkg-config find them by. All of it may be
# moved to another place afterwards.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(include_folder ${CMAKE_INSTALL_INCLUDEDIR}/colx)
set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/colx)
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS colx_headers colx_x86 colx_host EXPORT colx_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  FILE_SET HEADERS DESTINATION ${include_folder}
  INCLUDES DESTINATION ${include_folder})

install(EXPORT colx_targets NAMESPACE colx:: FILE colx-targets.cmake DESTINATION ${cmake_folder})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/colx-config.cmake.in
  ${PROJECT_BINARY_DIR}/colx-config.cmake INSTALL_DESTINATION ${cmake_folder})
# A host built for 19.x works with each later 19.y: find_package(colx 19) takes no other.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/colx-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/colx-config.cmake
  ${PROJECT_BINARY_DIR}/colx-config-version.cmake DESTINATION ${cmake_folder})

# pkg-config knows the folder of its own file, so the prefix is said from there.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE COLX_PREFIX_FROM_PC)
set(COLX_PC_LIBDIR "\${prefix}")
cmake_path(APPEND COLX_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(COLX_PC_INCLUDEDIR "\${prefix}")
cmake_path(APPEND COLX_PC_INCLUDEDIR ${include_folder})
foreach(file IN ITEMS colx.pc colx-host.pc)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${file}.in ${PROJECT_BINARY_DIR}/${file} @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${file} DESTINATION ${pkgconfig_folder})
endforeach()
