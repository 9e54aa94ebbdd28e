#pragma once
// Reads the system event log from its first record to its last by following next-record IDs.

#include <cstdint>
#include <vector>

#include "ipmi_messages.h"

namespace Module::BMCConfig {

// The Get SEL Entry reply data of every record, in log order; none for an empty log (the first
// request answered "not present"). Throws ResultStatus for a completion code other than 00h
// (2042), a reply that is not a next-record ID and one whole record (2043), and a next-record
// ID already requested, 0000h included (2044): IDs are 16 bits, so the walk ends after at most
// 65535 records whatever the controller answers.
std::vector<std::vector<uint8_t>> WalkSel(const Exchange& exchange);

}  // namespace Module::BMCConfig
