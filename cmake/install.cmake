# The installed tree: library, public headers, modules, programs, and what find_package and pkg-config read. Nothing in it
# knows its place, so that it may be moved. Components are the packages of cmake/packages.cmake.
include(CMakePackageConfigHelpers)
set(ZEL_CONFIG_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/ZelImaging)

install(TARGETS ZelImaging EXPORT ZelImagingTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
foreach(module IN LISTS ZEL_MODULES)
  set(component runtime)
  if(module MATCHES "heif")
    set(component heif)
  endif()
  install(TARGETS ${module} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/zelimaging COMPONENT ${component})
endforeach()
foreach(program zel:${CMAKE_INSTALL_BINDIR}:tools CLIImageResizer:${CMAKE_INSTALL_LIBEXECDIR}/zelimaging:runtime
        zel-documents:${CMAKE_INSTALL_LIBEXECDIR}/zelimaging:documents
        zel-drawings:${CMAKE_INSTALL_LIBEXECDIR}/zelimaging:documents)
  string(REPLACE ":" ";" program ${program})
  list(POP_FRONT program target folder component)
  if(TARGET ${target})
    install(TARGETS ${target} RUNTIME DESTINATION ${folder} COMPONENT ${component})
  endif()
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)

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
set(parts zelimaging)
if(TARGET ZelImagingView)
  list(APPEND parts zelimaging-view)
endif()
foreach(part IN LISTS parts)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${part}.pc.in ${PROJECT_BINARY_DIR}/${part}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${part}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
