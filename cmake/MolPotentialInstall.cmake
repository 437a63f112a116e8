include(CMakePackageConfigHelpers)

# The core and the two companions are export sets of their own, so that a user of the core needs
# nothing of the others.
install(TARGETS molpotential_platform molpotential EXPORT MolPotentialCore
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS molpotential_optimizers EXPORT MolPotentialOptimizers
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS molpotential_forcefields EXPORT MolPotentialForceFields
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET molpot)
  install(TARGETS molpot RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

foreach(dir include platform/qzplatform/include platform/qzsystem/include platform/qzopt/include
        platform/qzchem/include forcefields/include)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/${dir}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h")
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/MolPotential)
foreach(set Core Optimizers ForceFields)
  install(EXPORT MolPotential${set} NAMESPACE MolPotential:: DESTINATION ${package_dir})
endforeach()
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/MolPotentialConfig.cmake.in
  ${PROJECT_BINARY_DIR}/MolPotentialConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/MolPotentialConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/MolPotentialConfig.cmake
  ${PROJECT_BINARY_DIR}/MolPotentialConfigVersion.cmake DESTINATION ${package_dir})

# Relative to the file itself, so that --prefix and moved trees keep working.
file(RELATIVE_PATH pc_prefix_from_here /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
# molpotential_pkgconfig(name description requires libs)
function(molpotential_pkgconfig name description requires libs)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/molpotential.pc.in
    ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
molpotential_pkgconfig(molpotential "${PROJECT_DESCRIPTION}" ""
  "-lmolpotential -lmolpotential_platform")
molpotential_pkgconfig(molpotential-optimizers "Minimisers for molpotential" molpotential
  "-lmolpotential_optimizers")
molpotential_pkgconfig(molpotential-forcefields "Force fields for molpotential" molpotential
  "-lmolpotential_forcefields")

install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
