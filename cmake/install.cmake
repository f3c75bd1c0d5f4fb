# Installing libkorva: the shared library with its SONAME, the public headers
# under include/korva (every header korva/korva.h reaches), a CMake package
# giving korva::korva, and a pkg-config file. Paths are GNUInstallDirs'.

include(CMakePackageConfigHelpers)

set(KORVA_PUBLIC_HEADERS
  korva/korva.h
  korva/core/export.h korva/core/types.h korva/core/media_types.h korva/core/sync.h korva/core/frames.h
  korva/filesystem/filesystem.h
  korva/avi/errors.h korva/avi/records.h korva/avi/file.h
  korva/video/traits.h korva/video/dispatch.h
  korva/audio/selectors.h korva/audio/scaled.h
  korva/queue/frame_queue.h korva/queue/node_cache.h korva/queue/video_queue.h korva/queue/audio_queue.h)
foreach(header IN LISTS KORVA_PUBLIC_HEADERS)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()

set(KORVA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/korva)
install(TARGETS korva EXPORT korvaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT korvaTargets NAMESPACE korva:: DESTINATION ${KORVA_CMAKE_DIR})
configure_package_config_file(cmake/korvaConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/korvaConfig.cmake
  INSTALL_DESTINATION ${KORVA_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/korvaConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/korvaConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/korvaConfigVersion.cmake
  DESTINATION ${KORVA_CMAKE_DIR})

# The .pc file finds its prefix from where it lies, so that it holds for
# any --prefix given at install time.
file(RELATIVE_PATH KORVA_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/korva.pc.in ${CMAKE_CURRENT_BINARY_DIR}/korva.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/korva.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
