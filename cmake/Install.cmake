# What others find the libraries by: find_package(pimbsr) with the targets pimbsr::pimbsr (shared) and
# pimbsr::static, find_package(pimbsr-client) with pimbsr::client, and the same two names in pkg-config.
include(CMakePackageConfigHelpers)

set(package_files ${CMAKE_CURRENT_BINARY_DIR}/package)
set(packages pimbsr)
if(PIMBSR_AGENT)
  list(APPEND packages pimbsr-client)
endif()
# Wherever the files end up together, they find each other.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
foreach(name ${packages})
  file(WRITE ${package_files}/${name}-config.cmake
       "include(\${CMAKE_CURRENT_LIST_DIR}/${name}-targets.cmake)\n")
  # Before 1.0 a minor version may change what a user sees.
  write_basic_package_version_file(${package_files}/${name}-config-version.cmake
                                   COMPATIBILITY SameMinorVersion)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in ${package_files}/${name}.pc @ONLY)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  install(EXPORT ${name} NAMESPACE pimbsr:: FILE ${name}-targets.cmake DESTINATION ${package_dir})
  install(FILES ${package_files}/${name}-config.cmake ${package_files}/${name}-config-version.cmake
          DESTINATION ${package_dir})
  install(FILES ${package_files}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
