# The library for C++ and C programs on Linux, MovaCmdSvr::MovaCmdSvr to CMake and movacmdsvr to pkg-config: the layers' objects in
# one file, shared or static as BUILD_SHARED_LIBS says. "cmake --install build/linux --component library" installs it alone.
set(objects ${MOVA_LAYERS} c)
list(TRANSFORM objects REPLACE "(.+)" "$<TARGET_OBJECTS:mova-\\1>")
add_library(mova-library ${objects})
add_library(MovaCmdSvr::MovaCmdSvr ALIAS mova-library)
set_target_properties(mova-library PROPERTIES OUTPUT_NAME movacmdsvr EXPORT_NAME MovaCmdSvr LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
  LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR} ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
target_compile_features(mova-library PUBLIC cxx_std_20)
target_include_directories(mova-library PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
target_link_libraries(mova-library PRIVATE Threads::Threads)
if(BUILD_SHARED_LIBS)
  # Visibility hides what is ours; the standard library's templates insist on being seen, and only this hides them.
  set(symbols ${PROJECT_SOURCE_DIR}/cmake/movacmdsvr.map)
  target_link_options(mova-library PRIVATE -Wl,--version-script=${symbols} -Wl,--no-undefined)
  set_target_properties(mova-library PROPERTIES LINK_DEPENDS ${symbols})
else()
  target_compile_definitions(mova-library PUBLIC MOVA_STATIC)
endif()

include(CMakePackageConfigHelpers)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/MovaCmdSvr)
set(generated ${PROJECT_BINARY_DIR}/library)
install(TARGETS mova-library EXPORT MovaCmdSvrTargets COMPONENT library
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/mova DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library)
install(EXPORT MovaCmdSvrTargets NAMESPACE MovaCmdSvr:: DESTINATION ${package} COMPONENT library)

if(BUILD_SHARED_LIBS)
  set(MOVA_CONFIG_NEEDS "")
  set(MOVA_PC_CFLAGS "")
else()
  set(MOVA_CONFIG_NEEDS "include(CMakeFindDependencyMacro)\nset(THREADS_PREFER_PTHREAD_FLAG ON)\nfind_dependency(Threads)")
  set(MOVA_PC_CFLAGS " -DMOVA_STATIC")
endif()
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/MovaCmdSvrConfig.cmake.in ${generated}/MovaCmdSvrConfig.cmake
                              INSTALL_DESTINATION ${package})
write_basic_package_version_file(${generated}/MovaCmdSvrConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${generated}/MovaCmdSvrConfig.cmake ${generated}/MovaCmdSvrConfigVersion.cmake DESTINATION ${package}
        COMPONENT library)

# The .pc file finds the prefix from its own place, so that what is installed can be moved.
set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH MOVA_PC_PREFIX /${pc_folder} /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/movacmdsvr.pc.in ${generated}/movacmdsvr.pc @ONLY)
install(FILES ${generated}/movacmdsvr.pc DESTINATION ${pc_folder} COMPONENT library)
