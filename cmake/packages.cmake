# Debian packages, one a component of cmake/install.cmake. scripts/package builds them (preset packages); what a library
# or program needs of the system is found out by dpkg-shlibdeps.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelimaging)
set(CPACK_PACKAGE_CONTACT "The ZelImaging authors <zelimaging@example.org>")
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE zelimaging)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_COMPONENTS_ALL "")
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(same_library "libzelimaging0 (= ${version})")

# zel_package_of(COMPONENT PACKAGE SECTION SUMMARY TEXT [DEPENDS|RECOMMENDS|SUGGESTS texts] [SHLIBS library]): SHLIBS for
# a package that holds a library that others link.
macro(zel_package_of component package section summary text)
  cmake_parse_arguments(arg "" "DEPENDS;RECOMMENDS;SUGGESTS;SHLIBS" "" ${ARGN})
  string(TOUPPER ${component} upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}")
  foreach(relation DEPENDS RECOMMENDS SUGGESTS)
    if(arg_${relation})
      set(CPACK_DEBIAN_${upper}_PACKAGE_${relation} "${arg_${relation}}")
    endif()
  endforeach()
  if(arg_SHLIBS)
    # Below 1.0 a minor version may break what the one before it promised.
    math(EXPR next "${PROJECT_VERSION_MINOR} + 1")
    set(soname ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    set(folder ${PROJECT_BINARY_DIR}/packaging/${package})
    file(WRITE ${folder}/shlibs "${arg_SHLIBS} ${soname} ${package} (>= ${PROJECT_VERSION}), ${package} (<< ${PROJECT_VERSION_MAJOR}.${next}~)\n")
    file(WRITE ${folder}/triggers "activate-noawait ldconfig\n")
    set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${folder}/shlibs ${folder}/triggers)
  endif()
  if(ZEL_PACKAGES)
    install(FILES ${PROJECT_BINARY_DIR}/packaging/copyright ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz
      DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  endif()
endmacro()

zel_package_of(runtime libzelimaging0 libs "image handling for desktop applications"
  "ZelImaging loads, resizes, watermarks, converts and saves pictures. It
decodes no more than a result needs, gives the same bytes on every machine,
and treats every file as if a stranger had made it.
This package holds the library, and what it opens when it first needs it: TIFF,
JPEG XL, JPEG 2000, and downloads."
  SUGGESTS "libzelimaging-heif0, libzelimaging-documents0" SHLIBS libzelimaging)
zel_package_of(heif libzelimaging-heif0 libs "image handling for desktop applications - HEIF and AVIF"
  "ZelImaging loads, resizes, watermarks, converts and saves pictures.
This package holds what reads and writes HEIF and AVIF."
  DEPENDS "${same_library}")
if(TARGET zel-documents)
  zel_package_of(documents libzelimaging-documents0 libs "image handling for desktop applications - documents"
    "ZelImaging loads, resizes, watermarks, converts and saves pictures.
This package holds the program that renders pages of PDF documents and vector
drawings for the library. It can reach neither files nor the network."
    DEPENDS "${same_library}")
endif()
if(TARGET ZelImagingView)
  zel_package_of(view libzelimaging-view0 libs "image handling for desktop applications - image views for Qt"
    "ZelImaging loads, resizes, watermarks, converts and saves pictures.
This package holds the library of image views for Qt's windows."
    DEPENDS "${same_library}" SHLIBS libzel-qt)
endif()
# Its link to the view library leads nowhere where the view is not wanted: nobody gets Qt for the headers alone.
zel_package_of(development libzelimaging-dev libdevel "image handling for desktop applications - development"
  "ZelImaging loads, resizes, watermarks, converts and saves pictures.
This package holds the headers, and what find_package (components Core and
View) and pkg-config read (zelimaging and zelimaging-view). For the view,
install qt6-base-dev as well."
  DEPENDS "${same_library}" RECOMMENDS "libzelimaging-view0 (= ${version})" SUGGESTS "qt6-base-dev")
if(TARGET zel)
  zel_package_of(tools zelimaging-tools graphics "resizes, marks, converts and examines pictures"
    "The program zel does from a terminal what the library ZelImaging does for
applications: finished pictures within a number of bytes, thumbnails, crops,
tiles, watermarks, colour keys, pages of documents, layouts, comparisons,
facts. It takes folders and lists, writes whole files or none, and reports
as text or JSON."
    DEPENDS "${same_library}" RECOMMENDS "libzelimaging-heif0, libzelimaging-documents0")
endif()
if(TARGET zel-viewer)
  zel_package_of(viewer zel-viewer graphics "viewer for pictures and pages"
    "Shows pictures, folders of pictures and pages of documents; turns,
straightens, exposes, sharpens and crops them, tells what is known of them,
and exports them within a number of bytes. It stands on the library
ZelImaging."
    DEPENDS "${same_library}, libzelimaging-view0 (= ${version})" RECOMMENDS "libzelimaging-heif0, libzelimaging-documents0")
endif()

if(ZEL_PACKAGES)
  # The licence in the form that Debian reads, and the packages' own history, whose newest entry is this version.
  file(READ ${PROJECT_SOURCE_DIR}/LICENSE licence)
  string(REGEX MATCH "Copyright[^\n]*" notice "${licence}")
  string(REGEX REPLACE "^.*Copyright[^\n]*\n\n" "" licence "${licence}")
  string(STRIP "${licence}" licence)
  string(REPLACE "\n\n" "\n.\n" licence "${licence}")
  string(REPLACE "\n" "\n " licence "${licence}")
  string(REGEX REPLACE "Copyright *(\\([cC]\\))? *" "" notice "${notice}")
  file(WRITE ${PROJECT_BINARY_DIR}/packaging/copyright
    "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
    "Upstream-Name: ZelImaging\n\nFiles: *\nCopyright: ${notice}\nLicense: Expat\n\nLicense: Expat\n ${licence}\n")
  file(STRINGS ${PROJECT_SOURCE_DIR}/packaging/changelog newest LIMIT_COUNT 1)
  if(NOT newest MATCHES "\\(${version}\\)")
    message(FATAL_ERROR "packaging/changelog does not begin with version ${version}")
  endif()
  execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
  # Debian's manual pages are compressed.
  foreach(component tools viewer)
    install(CODE "
      file(GLOB pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/*.1\")
      if(pages)
        execute_process(COMMAND gzip -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)
      endif()" COMPONENT ${component})
  endforeach()
endif()
# Each package says for itself what it is.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
include(CPack)
