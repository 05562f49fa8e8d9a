# What another project needs to use the libraries: themselves, their headers, pkg-config files and a CMake package. All of
# it finds its place from where it lies, so that an installed tree can be moved.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tagwire)
set(made_dir ${CMAKE_CURRENT_BINARY_DIR}/package)

set(names tagwire)
if(TAGWIRE_BUILD_CPP)
  list(APPEND names tagwirexx)
endif()
install(TARGETS ${names} EXPORT tagwire_targets COMPONENT library)
list(TRANSFORM names PREPEND ${PROJECT_SOURCE_DIR}/include/ OUTPUT_VARIABLE header_folders)
install(DIRECTORY ${header_folders} ${tagwire_made_headers}/tagwire TYPE INCLUDE
  COMPONENT library)
install(EXPORT tagwire_targets FILE tagwireTargets.cmake NAMESPACE tagwire:: DESTINATION ${package_dir}
  COMPONENT library)

configure_file(${PROJECT_SOURCE_DIR}/packaging/tagwireConfig.cmake.in ${made_dir}/tagwireConfig.cmake @ONLY)
write_basic_package_version_file(${made_dir}/tagwireConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${made_dir}/tagwireConfig.cmake ${made_dir}/tagwireConfigVersion.cmake DESTINATION ${package_dir}
  COMPONENT library)

if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${up}")
endif()
# What finds the virtual reader lies with the rest; itself it is installed where it is built.
if(TAGWIRE_BUILD_TOOLS)
  list(APPEND names tagwire-sim)
endif()
cmake_path(APPEND pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
foreach(pc_name ${names})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/library.pc.in ${made_dir}/${pc_name}.pc @ONLY)
  install(FILES ${made_dir}/${pc_name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT library)
endforeach()
