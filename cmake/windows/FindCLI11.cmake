# CLI11 (header-only, Debian libcli11-dev) for the cross build.
include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
pc_host_header_library(CLI11::CLI11 CLI/CLI.hpp CLI)
if(CLI11_FIND_REQUIRED AND NOT CLI11_FOUND)
  message(FATAL_ERROR "CLI11 headers (CLI/CLI.hpp) not found: install libcli11-dev")
endif()
