# The installed tree: library, public headers, modules, program, licence, and what find_package and pkg-config read.
include(CMakePackageConfigHelpers)
set(ZEL_CONFIG_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/ZelImaging)

install(TARGETS ZelImaging EXPORT ZelImagingTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
if(ZEL_MODULES)
  install(TARGETS ${ZEL_MODULES} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/zelimaging COMPONENT runtime)
endif()
if(TARGET zel)
  install(TARGETS zel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()
if(TARGET CLIImageResizer)
  install(TARGETS CLIImageResizer RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/zelimaging COMPONENT runtime)
endif()
foreach(renderer zel-documents zel-drawings)
  if(TARGET ${renderer})
    install(TARGETS ${renderer} RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/zelimaging COMPONENT documents)
  endif()
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

# Which headers are public is found out when they are installed, so that an edited include never leaves a stale list.
install(CODE "
  cmake_minimum_required(VERSION 3.25)
  include(${PROJECT_SOURCE_DIR}/cmake/public_headers.cmake)
  zel_public_headers(${PROJECT_SOURCE_DIR} headers)
  foreach(header IN LISTS headers)
    get_filename_component(folder \${header} DIRECTORY)
    file(INSTALL ${PROJECT_SOURCE_DIR}/\${header} DESTINATION \${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}/\${folder})
  endforeach()" COMPONENT development)

# find_package(ZelImaging), from an installed tree and from this build tree alike.
install(EXPORT ZelImagingTargets NAMESPACE ZelImaging:: DESTINATION ${ZEL_CONFIG_FOLDER} COMPONENT development)
export(EXPORT ZelImagingTargets NAMESPACE ZelImaging:: FILE ${PROJECT_BINARY_DIR}/ZelImagingTargets.cmake)
configure_file(${PROJECT_SOURCE_DIR}/cmake/ZelImagingConfig.cmake ${PROJECT_BINARY_DIR}/ZelImagingConfig.cmake COPYONLY)
# Below 1.0 a minor version may break what the one before it promised.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZelImagingConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZelImagingConfig.cmake ${PROJECT_BINARY_DIR}/ZelImagingConfigVersion.cmake
  DESTINATION ${ZEL_CONFIG_FOLDER} COMPONENT development)

file(RELATIVE_PATH ZEL_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/zelimaging.pc.in ${PROJECT_BINARY_DIR}/zelimaging.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zelimaging.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
