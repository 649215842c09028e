# find_package(OstrivanePreferences) gives the target Ostrivane::preferences.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
find_dependency(Boost COMPONENTS filesystem CONFIG)
find_dependency(PkgConfig)
pkg_check_modules(tinyxml REQUIRED IMPORTED_TARGET tinyxml>=2.6)
include(${CMAKE_CURRENT_LIST_DIR}/OstrivanePreferencesTargets.cmake)
