#pragma once
#include <cstdint>

// Resident set size of this process in bytes, or 0 when it cannot be read.
uint64_t ResidentBytes();
