# Cross-build for 64-bit Windows with MinGW-w64 (Debian: g++-mingw-w64-x86-64-posix), tested
# under Wine. The posix thread model is required: the framework uses std::mutex and
# std::call_once, which the win32 thread model of GCC 12 does not provide.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(PC_MINGW_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${PC_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${PC_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${PC_MINGW_TRIPLET}-windres)

# Target headers and libraries come from the MinGW-w64 tree only; programs (Python, the
# generators) from the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${PC_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test executables run through Wine; the test preset gives it a prefix inside the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)

# Header-only packages of the build machine and GoogleTest from source (cmake/windows).
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/windows)
