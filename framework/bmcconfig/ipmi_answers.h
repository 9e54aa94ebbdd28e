#pragma once
// Answers "/BMC/..." queries with requests to the controller.

#include <cstddef>
#include <string>

#include "XNode.h"
#include "ipmi_messages.h"

namespace Module::BMCConfig {

// "/BMC/SEL/RECORD[00001]" for the first record: five digits, so that the map's key order is
// the log's order for every log the 16-bit record IDs allow.
std::string SelRecordKey(size_t number);

// Adds the query's leaves to answer, or nothing for a path this library does not answer; a
// failure throws ResultStatus and adds nothing. exchange is called only for a path answered
// by the controller.
void AnswerFromIpmi(const std::string& query, ResultMap& answer, const Exchange& exchange);

}  // namespace Module::BMCConfig
