# nlohmann/json (header-only, Debian nlohmann-json3-dev) for the cross build.
include(${CMAKE_CURRENT_LIST_DIR}/HostHeaders.cmake)
pc_host_header_library(nlohmann_json::nlohmann_json nlohmann/json.hpp nlohmann)
if(nlohmann_json_FIND_REQUIRED AND NOT nlohmann_json_FOUND)
  message(FATAL_ERROR "nlohmann/json headers not found: install nlohmann-json3-dev")
endif()
