# GoogleTest for the cross build: Debian ships its sources (package googletest) in
# /usr/src/googletest; they are built here with the cross compiler, as static libraries, and
# given the names FindGTest gives on the build machine (GTest::gtest, GTest::gtest_main,
# GTest::gmock, GTest::gmock_main).
if(TARGET GTest::gtest)
  set(GTest_FOUND TRUE)
  return()
endif()
find_path(PC_GTEST_SOURCE_DIR googletest/src/gtest-all.cc
  PATHS /usr/src/googletest NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT PC_GTEST_SOURCE_DIR)
  set(GTest_FOUND FALSE)
  if(GTest_FIND_REQUIRED)
    message(FATAL_ERROR "GoogleTest sources not found in /usr/src/googletest: install googletest")
  endif()
  return()
endif()

set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
add_subdirectory(${PC_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(lib gtest gtest_main gmock gmock_main)
  # Built with GoogleTest's own flags only: the project's warning set is for the project.
  set_property(TARGET ${lib} PROPERTY COMPILE_OPTIONS "")
  if(NOT TARGET GTest::${lib})
    add_library(GTest::${lib} ALIAS ${lib})
  endif()
endforeach()
set(GTest_FOUND TRUE)
