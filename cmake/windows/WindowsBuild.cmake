# Windows (MinGW-w64) specifics of the build, included from the top-level CMakeLists.txt.

# Windows names DLLs without the "lib" prefix: PlatformConfig.dll, OrdixXQuery.dll, ...
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")
set(CMAKE_IMPORT_LIBRARY_PREFIX "")

# One shared C++ runtime for the module and the framework, which pass std types to each other:
# the MinGW runtime DLLs are copied beside the executables, where the loader looks first.
set(PC_MINGW_RUNTIME_DLLS)
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(path "${path}" REALPATH)
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "MinGW runtime ${dll} not found (asked ${CMAKE_CXX_COMPILER})")
  endif()
  list(APPEND PC_MINGW_RUNTIME_DLLS ${path})
endforeach()
file(COPY ${PC_MINGW_RUNTIME_DLLS} DESTINATION ${CMAKE_BINARY_DIR}/bin)
