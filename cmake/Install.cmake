# cmake --install, and the package that find_package(BfLagGroup) finds.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/BfLagGroup)

install(TARGETS BfLagGroup pd pd_velmor_switch EXPORT BfLagGroupTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(layer pd framework driver-status platform BfLagGroup)
  install(DIRECTORY ${layer}/ DESTINATION ${BFLAG_INCLUDEDIR}/${layer}
          FILES_MATCHING PATTERN "*.h"
          PATTERN "calls" EXCLUDE
          PATTERN "FrameworkTrace.h" EXCLUDE
          PATTERN "PrintedObjects.h" EXCLUDE
          PATTERN "Site.h" EXCLUDE)
endforeach()
install(FILES asic/SoftwareAsic.h DESTINATION ${BFLAG_INCLUDEDIR}/asic)

install(EXPORT BfLagGroupTargets NAMESPACE BfLagGroup:: DESTINATION ${package_dir})
configure_package_config_file(cmake/BfLagGroupConfig.cmake.in BfLagGroupConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(BfLagGroupConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/BfLagGroupConfig.cmake
              ${PROJECT_BINARY_DIR}/BfLagGroupConfigVersion.cmake
        DESTINATION ${package_dir})
