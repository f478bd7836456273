# How the parts of the house become targets. The library's folders are object libraries; from their objects come the
# shared library that hosts link and, for tests, fuzzers and benchmarks, which reach below the public headers, one static
# archive a folder.
set(ZEL_FOLDERS "")
set(ZEL_MODULES "")
if(ZEL_TESTS)
  add_custom_target(tests COMMENT "All test programs")
endif()

# The target of a folder: zel_engine, zel_foundation, zel_core.
function(zel_target_of folder result)
  string(REPLACE "platform/" "" name ${folder})
  string(REPLACE "/" "_" name ${name})
  set(${result} zel_${name} PARENT_SCOPE)
endfunction()

# zel_folder(FOLDER [LIBRARIES …]): one object library a folder of zel/, standing on all folders declared before it. A
# folder without sources is left out.
macro(zel_folder folder)
  cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
  zel_target_of(${folder} target)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/zel/${folder}/*.cpp)
  if(sources)
    add_library(${target} OBJECT ${sources})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${target} PRIVATE zel_settings PUBLIC ${arg_LIBRARIES})
    foreach(below IN LISTS ZEL_FOLDERS)
      # Objects of lower folders come along once, below; here only what compiling against them takes.
      target_include_directories(${target} PRIVATE $<TARGET_PROPERTY:${below},INTERFACE_INCLUDE_DIRECTORIES>)
      target_compile_definitions(${target} PRIVATE $<TARGET_PROPERTY:${below},INTERFACE_COMPILE_DEFINITIONS>)
    endforeach()
    list(APPEND ZEL_FOLDERS ${target})
    set(ZEL_LIBRARIES_OF_${target} ${arg_LIBRARIES})
  endif()
endmacro()

# The library itself, and zel_static, an interface target for whoever links all of it with its internals.
macro(zel_library)
  find_package(Threads REQUIRED)
  add_library(ZelImaging SHARED ${PROJECT_SOURCE_DIR}/zel/zel.h)
  add_library(ZelImaging::ZelImaging ALIAS ZelImaging)
  set_target_properties(ZelImaging PROPERTIES OUTPUT_NAME zelimaging LINKER_LANGUAGE CXX INSTALL_RPATH ""
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  target_compile_features(ZelImaging PUBLIC cxx_std_20)
  target_include_directories(ZelImaging PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(ZelImaging PRIVATE zel_settings Threads::Threads ${CMAKE_DL_LIBS})
  if(NOT ZEL_SANITIZE)    # whose run time is found in the program
    target_link_options(ZelImaging PRIVATE -Wl,--no-undefined)
  endif()

  add_library(zel_static INTERFACE)
  set(below "")
  foreach(folder IN LISTS ZEL_FOLDERS)
    target_sources(ZelImaging PRIVATE $<TARGET_OBJECTS:${folder}>)
    target_link_libraries(ZelImaging PRIVATE ${ZEL_LIBRARIES_OF_${folder}})
    add_library(${folder}_static STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:${folder}>)
    set_target_properties(${folder}_static PROPERTIES LINKER_LANGUAGE CXX)
    target_include_directories(${folder}_static PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(${folder}_static PUBLIC ${below} ${ZEL_LIBRARIES_OF_${folder}} Threads::Threads ${CMAKE_DL_LIBS})
    list(PREPEND below ${folder}_static)
  endforeach()
  target_link_libraries(zel_static INTERFACE ${below})
endmacro()

# zel_module(NAME SOURCE… LIBRARIES …): a part of the library that is opened when something needs it first, from the
# folder zelimaging beside the library. Left out until its sources are there.
macro(zel_module name)
  cmake_parse_arguments(arg "" "" "LIBRARIES" ${ARGN})
  set(sources "")
  foreach(source IN LISTS arg_UNPARSED_ARGUMENTS)
    if(EXISTS ${PROJECT_SOURCE_DIR}/zel/${source})
      list(APPEND sources ${PROJECT_SOURCE_DIR}/zel/${source})
    endif()
  endforeach()
  if(sources)
    add_library(zel_${name}_module MODULE ${sources})
    target_include_directories(zel_${name}_module PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(zel_${name}_module PRIVATE zel_settings ${arg_LIBRARIES})
    set_target_properties(zel_${name}_module PROPERTIES PREFIX "" OUTPUT_NAME zel-${name} INSTALL_RPATH ""
      LIBRARY_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/zelimaging)
    list(APPEND ZEL_MODULES zel_${name}_module)
  endif()
endmacro()

# zel_test_program(NAME FOLDER … [LIBRARIES …] [TIMEOUT seconds]): the sources of the folders under tests/ as the program
# test_NAME, registered as test NAME. Left out where there are no sources.
function(zel_test_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "LIBRARIES")
  set(sources "")
  foreach(folder IN LISTS arg_UNPARSED_ARGUMENTS)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  if(NOT sources)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(test_${name} ${sources})
  target_include_directories(test_${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(test_${name} PRIVATE zel_settings ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
  if(ZEL_MODULES)
    add_dependencies(test_${name} ${ZEL_MODULES})
  endif()
  add_dependencies(tests test_${name})
  add_test(NAME ${name} COMMAND test_${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
endfunction()

# zel_test(FOLDER): tests/<last part of FOLDER>/ as a program that links the folder and what it stands on.
function(zel_test folder)
  zel_target_of(${folder} target)
  string(REPLACE "zel_" "" name ${target})
  if(TARGET ${target}_static)
    zel_test_program(${name} ${name} LIBRARIES ${target}_static)
  endif()
endfunction()
