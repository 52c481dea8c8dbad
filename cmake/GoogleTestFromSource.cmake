# The packages of GoogleTest hold libraries for the system they are installed on, and the source.
find_path(GOOGLETEST_SOURCE googletest/CMakeLists.txt PATHS /usr/src/googletest
  NO_CMAKE_FIND_ROOT_PATH NO_DEFAULT_PATH REQUIRED)
set(INSTALL_GTEST OFF)
add_subdirectory(${GOOGLETEST_SOURCE} googletest EXCLUDE_FROM_ALL)
