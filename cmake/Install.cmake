# cmake --install, and the package that find_package(BfLagGroup) finds.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/BfLagGroup)

install(TARGETS BfLagGroup pd pd_velmor_switch EXPORT BfLagGroupTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# What an agent may include; what these include goes with them, and nothing else does.
set(headers
  BfLagGroup/Factories.h
  BfLagGroup/LagGroupActionProfile.h
  BfLagGroup/LagGroupActionProfileSm.h
  BfLagGroup/LagGroupActionSpecs.h
  BfLagGroup/LagGroupTable.h
  BfLagGroup/LagGroupTableHelper.h
  BfLagGroup/LagGroupTableValues.h
  asic/SoftwareAsic.h
  driver-status/BfTableException.h
  framework/Kel.h
  pd/p4_pd_velmor_switch.h
  platform/MbbGlimtKey/InProcessKeyManager.h
  platform/RuxTableStatusManager/InProcessStatusManager.h)
set(installed "")
while(headers)
  list(POP_FRONT headers header)
  if(NOT header IN_LIST installed)
    list(APPEND installed ${header})
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${header} DESTINATION ${BFLAG_INCLUDEDIR}/${folder})
    file(STRINGS ${header} includes REGEX "^ *# *include \"")
    list(TRANSFORM includes REPLACE ".*\"(.*)\".*" "\\1")
    list(APPEND headers ${includes})
  endif()
endwhile()
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${installed})

install(EXPORT BfLagGroupTargets NAMESPACE BfLagGroup:: DESTINATION ${package_dir})
configure_package_config_file(cmake/BfLagGroupConfig.cmake.in BfLagGroupConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(BfLagGroupConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/BfLagGroupConfig.cmake
              ${PROJECT_BINARY_DIR}/BfLagGroupConfigVersion.cmake
        DESTINATION ${package_dir})
