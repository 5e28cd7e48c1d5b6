# What others find the library by: find_package(pimbsr) with the targets pimbsr::pimbsr (shared) and
# pimbsr::static, and pkg-config's pimbsr.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/pimbsr)
set(package_files ${CMAKE_CURRENT_BINARY_DIR}/package)

file(WRITE ${package_files}/pimbsr-config.cmake
     "include(\${CMAKE_CURRENT_LIST_DIR}/pimbsr-targets.cmake)\n")
# Before 1.0 a minor version may change what a host sees.
write_basic_package_version_file(${package_files}/pimbsr-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
# Wherever the files end up together, they find each other.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
foreach(name pimbsr pimbsr-client)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in ${package_files}/${name}.pc @ONLY)
endforeach()

install(EXPORT pimbsr NAMESPACE pimbsr:: FILE pimbsr-targets.cmake DESTINATION ${package_dir})
install(FILES ${package_files}/pimbsr-config.cmake ${package_files}/pimbsr-config-version.cmake
        DESTINATION ${package_dir})
install(FILES ${package_files}/pimbsr.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(PIMBSR_AGENT)
  install(FILES ${package_files}/pimbsr-client.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
