# For programs that share the preference file: headers, the library, and how two build systems find them. docs/sharing.md
# lists the headers; the others of preferences/ are the daemon's own.
include(CMakePackageConfigHelpers)
set(component ostrivane-helper-dev)
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/ostrivane)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/OstrivanePreferences)

install(FILES
  ${PROJECT_SOURCE_DIR}/preferences/PreferenceIO.h
  ${PROJECT_SOURCE_DIR}/preferences/PreferenceStore.h
  ${PROJECT_SOURCE_DIR}/preferences/ReadReport.h
  ${PROJECT_SOURCE_DIR}/preferences/SharedPreferenceLock.h
  ${PROJECT_SOURCE_DIR}/preferences/SharedPreferenceMutex.h
  DESTINATION ${headers}/preferences COMPONENT ${component} EXCLUDE_FROM_ALL)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/settings
  DESTINATION ${headers} COMPONENT ${component} EXCLUDE_FROM_ALL FILES_MATCHING PATTERN *.h)
install(FILES ${PROJECT_SOURCE_DIR}/examples/setting.cpp ${PROJECT_SOURCE_DIR}/examples/CMakeLists.txt
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${component}/examples COMPONENT ${component} EXCLUDE_FROM_ALL)

set_target_properties(preferences PROPERTIES OUTPUT_NAME ostrivane-preferences)
target_include_directories(preferences INTERFACE $<INSTALL_INTERFACE:${headers}>)
target_compile_features(preferences INTERFACE cxx_std_20)
install(TARGETS preferences EXPORT OstrivanePreferences
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component} EXCLUDE_FROM_ALL)
install(EXPORT OstrivanePreferences NAMESPACE Ostrivane:: FILE OstrivanePreferencesTargets.cmake
  DESTINATION ${package_dir} COMPONENT ${component} EXCLUDE_FROM_ALL)
write_basic_package_version_file(OstrivanePreferencesConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES OstrivanePreferencesConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/OstrivanePreferencesConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT ${component} EXCLUDE_FROM_ALL)

configure_file(ostrivane-preferences.pc.in ostrivane-preferences.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ostrivane-preferences.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${component} EXCLUDE_FROM_ALL)
