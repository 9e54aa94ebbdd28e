#pragma once
#include <cstdint>

// The command a status refers to.
enum _XCOMMAND : uint32_t {
  XCOMMAND_NONE = 0,
  XCOMMAND_PROCESS_XQUERY = 1,
};
