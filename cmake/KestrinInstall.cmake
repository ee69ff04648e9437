include(CMakePackageConfigHelpers)

set(KESTRIN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/BatteryCore)

install(TARGETS BatteryCore KestrinWidget
  EXPORT BatteryCoreTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/BatteryCore/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/BatteryCore
  FILES_MATCHING PATTERN "*.hpp"
  PATTERN "resources" EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/KestrinWidget/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KestrinWidget
  FILES_MATCHING PATTERN "*.hpp")

# The catalogue goes where the program looks first (<prefix>/share/kestrin,
# beside <prefix>/bin) and where the library looks for its own resources.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/BatteryCore/resources/${KESTRIN_BUNDLE_NAME}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrin)

install(EXPORT BatteryCoreTargets
  NAMESPACE BatteryCore::
  DESTINATION ${KESTRIN_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/BatteryCoreConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/BatteryCoreConfig.cmake
  INSTALL_DESTINATION ${KESTRIN_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/BatteryCoreConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/BatteryCoreConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/BatteryCoreConfigVersion.cmake
  DESTINATION ${KESTRIN_CMAKE_DIR})
