#include "ResultStatus.h"

#include <utility>

ResultStatus::ResultStatus(uint16_t code, std::string message, std::string detail,
                           _XCOMMAND command)
    : code_(code), message_(std::move(message)), detail_(std::move(detail)), command_(command) {}
