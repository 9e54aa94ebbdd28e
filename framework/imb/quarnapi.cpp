// The management-bus driver over FreeIPMI: one session for the process, opened on first use
// and opened again after a failure that ended it.

#include <array>
#include <mutex>
#include <optional>
#include <string>

#include "Logger.h"
#include "Settings.h"
#include "bmc_settings.h"
#include "freeipmi_session.h"
#include "imb.h"
#include "imb_calls.h"
#include "imb_request.h"

namespace {

using namespace Ordix::Imb;

constexpr const char* kLogSource = "quarnapi";
constexpr int kLogLevelError = 2;
constexpr int kLogLineSettings = 40;
constexpr int kLogLineOpen = 41;
constexpr int kLogLineSend = 42;
constexpr int kLogLineBadResponse = 43;

// Room for the command byte, the completion code and far more data than any controller sends,
// so an over-long answer is recognised rather than cut short by FreeIPMI.
constexpr size_t kRawAnswerCapacity = 1024;

// What SelectInterface chose in place of the settings file; empty fields defer to it.
struct Selection {
  std::optional<std::string> interface;
  std::optional<std::string> host;
  std::optional<std::string> user;
  std::optional<std::string> password;
};

struct Channel {
  std::mutex mutex;
  Selection selection;
  std::optional<FreeIpmiSession> session;
};

Channel& TheChannel() {
  static Channel channel;
  return channel;
}

void LogError(int line, const char* function, const std::string& text) {
  Logger::CreateInstance()->Log(kLogLevelError, kLogSource, function, line, "%s", text.c_str());
}

SettingsResult ReadSettings(const Selection& selection) {
  return ParseBmcSettings([&selection](const std::string& key) -> std::string {
    const std::optional<std::string>* chosen = key == "Interface" ? &selection.interface
                                               : key == "Host"    ? &selection.host
                                               : key == "User"    ? &selection.user
                                               : key == "Password" ? &selection.password
                                                                   : nullptr;
    if (chosen != nullptr && chosen->has_value()) return **chosen;
    return Ordix::Settings::GetString(kSection, key, "");
  });
}

int Send(const ImbRequest* request, uint8_t* responseData, int* responseLength,
         uint8_t* completionCode) {
  constexpr const char* kFunction = "SendTimedImbpRequest";
  if (responseLength != nullptr) *responseLength = 0;
  if (request == nullptr || responseData == nullptr || responseLength == nullptr ||
      completionCode == nullptr) {
    return IMB_STATUS_INVALID_ARGUMENT;
  }
  RawRequest raw;
  if (const int status = BuildRawRequest(*request, raw); status != IMB_STATUS_SUCCESS) {
    return status;
  }

  Channel& channel = TheChannel();
  std::lock_guard<std::mutex> lock(channel.mutex);
  std::array<uint8_t, kRawAnswerCapacity> answerBytes{};
  FreeIpmiSession::Answer answer;
  // A kept session the BMC has dropped meanwhile (it closes idle ones after a few seconds)
  // fails the first request it carries: that request gets one fresh session.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const bool reused = channel.session.has_value();
    if (!channel.session) {
      const SettingsResult settings = ReadSettings(channel.selection);
      if (!settings.settings) {
        LogError(kLogLineSettings, kFunction, settings.error);
        return IMB_STATUS_NOT_CONFIGURED;
      }
      std::string error;
      channel.session = FreeIpmiSession::Open(*settings.settings, error);
      if (!channel.session) {
        LogError(kLogLineOpen, kFunction, error);
        return IMB_STATUS_OPEN_FAILED;
      }
    }
    answer = channel.session->Send(raw, answerBytes.data(), answerBytes.size());
    if (answer.length >= 0) break;
    if (answer.sessionLost) channel.session.reset();
    if (!answer.sessionLost || !reused) break;
  }
  if (answer.length < 0) {
    LogError(kLogLineSend, kFunction, "request failed: " + answer.error);
    return IMB_STATUS_SEND_FAILED;
  }
  const int status =
      DecodeRawResponse(raw.command, answerBytes.data(), static_cast<size_t>(answer.length),
                        responseData, responseLength, completionCode);
  if (status != IMB_STATUS_SUCCESS) {
    LogError(kLogLineBadResponse, kFunction,
             "unusable answer of " + std::to_string(answer.length) + " bytes");
  }
  return status;
}

int Select(const char* interfaceName, const char* host, const char* user, const char* password) {
  if (interfaceName == nullptr || !ParseInterface(interfaceName)) return 0;
  const auto optionalText = [](const char* text) {
    return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
  };
  Channel& channel = TheChannel();
  std::lock_guard<std::mutex> lock(channel.mutex);
  channel.selection = {std::string(interfaceName), optionalText(host), optionalText(user),
                       optionalText(password)};
  channel.session.reset();
  return 1;
}

}  // namespace

extern "C" {

int SendTimedImbpRequest(ImbRequest* request, int /*timeoutMs*/, uint8_t* responseData,
                         int* responseLength, uint8_t* completionCode) {
  return Guarded(IMB_STATUS_SEND_FAILED,
                 [&] { return Send(request, responseData, responseLength, completionCode); });
}

int GetAsyncImbpMessage(uint8_t* message, uint32_t* messageLength, int /*timeoutMs*/,
                        uint32_t* /*sequence*/, uint8_t /*channel*/) {
  return NoAsyncMessage(message, messageLength);
}

int SelectInterface(const char* interfaceName, const char* host, const char* user,
                    const char* password) {
  return Guarded(0, [&] { return Select(interfaceName, host, user, password); });
}

}  // extern "C"
