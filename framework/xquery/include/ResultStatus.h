#pragma once
#include <cstdint>
#include <string>

#include "XCommand.h"
#include "xquery_export.h"

// The framework's status record. Thrown by value by the framework and its modules and caught
// by the host; its type is exported so that it is caught across library boundaries.
class XQUERY_EXPORT ResultStatus {
 public:
  ResultStatus(uint16_t code, std::string message, std::string detail, _XCOMMAND command);

  uint16_t GetCode() const { return code_; }
  const std::string& GetMessage() const { return message_; }
  const std::string& GetDetail() const { return detail_; }
  _XCOMMAND GetCommand() const { return command_; }

 private:
  uint16_t code_;
  std::string message_;
  std::string detail_;
  _XCOMMAND command_;
};
