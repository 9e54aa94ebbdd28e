# Header-only libraries of the build machine (Debian's /usr/include), made usable by the
# cross compiler: the headers are copied into the build tree so that /usr/include itself, whose
# C library headers belong to the build machine, never lands on the target's include path.
#
# pc_host_header_library(TARGET HEADER DIRECTORY): TARGET is an INTERFACE IMPORTED target whose
# include directory holds DIRECTORY (the first path step of HEADER), copied from where the build
# machine has HEADER.
function(pc_host_header_library target header directory)
  if(TARGET ${target})
    set(${CMAKE_FIND_PACKAGE_NAME}_FOUND TRUE PARENT_SCOPE)
    return()
  endif()
  string(MAKE_C_IDENTIFIER "PC_HOST_${directory}" var)
  find_path(${var} ${header} PATHS /usr/include /usr/local/include
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT ${var})
    set(${CMAKE_FIND_PACKAGE_NAME}_FOUND FALSE PARENT_SCOPE)
    return()
  endif()
  set(staged ${CMAKE_BINARY_DIR}/host-headers/${directory})
  file(COPY ${${var}}/${directory} DESTINATION ${staged})
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${staged})
  set(${CMAKE_FIND_PACKAGE_NAME}_FOUND TRUE PARENT_SCOPE)
endfunction()
