# Installation: programs in bin, the platform's libraries in lib, plug-ins with their type descriptions in
# lib/rivlink/plugins, where the host looks for them; headers and a CMake package for programs built on it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(plugin_directory "${CMAKE_INSTALL_LIBDIR}/rivlink/plugins")
set(header_directory "${CMAKE_INSTALL_INCLUDEDIR}/rivlink")
set(package_directory "${CMAKE_INSTALL_LIBDIR}/cmake/rivlink_local")

install(TARGETS kor rivlink_common rivlink_core rivlink_device rivlink_registries rivlink_runtime EXPORT rivlink_local
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${header_directory}")
install(TARGETS rivlink_local EXPORT rivlink_local
    RUNTIME DESTINATION "${plugin_directory}" LIBRARY DESTINATION "${plugin_directory}"
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    INCLUDES DESTINATION "${header_directory}")
install(TARGETS rivlink_simulated rivlink_system
    RUNTIME DESTINATION "${plugin_directory}" LIBRARY DESTINATION "${plugin_directory}")
install(DIRECTORY "${RIVLINK_PLUGIN_DIRECTORY}/" DESTINATION "${plugin_directory}"
    FILES_MATCHING PATTERN "*.types.json")
install(TARGETS rivlink-host RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
if(RIVLINK_RUNTIME_LIBRARIES)
    install(FILES ${RIVLINK_RUNTIME_LIBRARIES} DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
set_target_properties(kor rivlink_common rivlink_core rivlink_device rivlink_runtime PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(rivlink_local rivlink_simulated rivlink_system PROPERTIES INSTALL_RPATH "$ORIGIN/../..")
set_target_properties(rivlink-host PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

install(DIRECTORY platform common runtime DESTINATION "${header_directory}" FILES_MATCHING PATTERN "*.h")
install(DIRECTORY driver/local DESTINATION "${header_directory}/driver" FILES_MATCHING PATTERN "*.h")

install(EXPORT rivlink_local NAMESPACE rivlink:: DESTINATION "${package_directory}"
    FILE rivlink_localTargets.cmake)
configure_package_config_file(cmake/rivlink_localConfig.cmake.in
    "${PROJECT_BINARY_DIR}/rivlink_localConfig.cmake" INSTALL_DESTINATION "${package_directory}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/rivlink_localConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/rivlink_localConfig.cmake"
    "${PROJECT_BINARY_DIR}/rivlink_localConfigVersion.cmake" cmake/RivlinkLog4cplus.cmake
    DESTINATION "${package_directory}")
