// The management-bus driver over FreeIPMI: one session for the process, opened on first use
// and opened again after a failure that ended it.

#include <array>
#include <chrono>
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
#include "session_failure.h"
#include "session_opener.h"
#include "session_timing.h"

namespace {

using namespace Ordix::Imb;
using Clock = std::chrono::steady_clock;

constexpr const char* kLogSource = "quarnapi";
constexpr int kLogLevelError = 2;
constexpr int kLogLevelInfo = 3;
constexpr int kLogLineSettings = 40;
constexpr int kLogLineOpen = 41;
constexpr int kLogLineSend = 42;
constexpr int kLogLineBadResponse = 43;
constexpr int kLogLineWorkaround = 44;

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

// The workaround flags that opened a session, and the BMC and login they opened it for.
struct Learned {
  std::string target;
  unsigned flags = 0;
};

struct Channel {
  std::mutex mutex;
  Selection selection;
  std::optional<FreeIpmiSession> session;
  // The settings the session was opened with: a kept session keeps them (the file is read
  // again only to open another), so a request costs no look at the file.
  std::optional<BmcSettings> settings;
  std::optional<Learned> learned;
  Clock::time_point lastAnswer;  // of the kept session
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

std::string Target(const BmcSettings& s) {
  return std::to_string(static_cast<int>(s.interface)) + " " + s.host + " " + s.user + " " +
         std::to_string(unsigned{s.privilegeLevel}) + " " + std::to_string(unsigned{s.cipherSuite});
}

// One call's time: it may wait until the deadline, a LAN session at most `timeouts` per reply.
struct CallTime {
  Clock::time_point deadline;
  unsigned bound;
  SessionTimeouts timeouts;
  unsigned LeftMs() const {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() > 0 ? static_cast<unsigned>(left.count()) : 0;
  }
  // Another wait of a full session silence still ends by the deadline.
  bool RoomForAnotherWait() const { return LeftMs() >= timeouts.silenceMs; }
};

CallTime TimeFor(const BmcSettings& s, int timeoutMs) {
  const unsigned bound =
      timeoutMs > 0 ? std::min(s.timeoutMs, static_cast<unsigned>(timeoutMs)) : s.timeoutMs;
  return {Clock::now() + std::chrono::milliseconds(bound), bound, TimeoutsFor(s.timeoutMs, bound)};
}

// Opens the channel's session, trying workarounds when the settings leave them open. False,
// with the reason in LastErrorText::Get(), when none opened.
bool OpenSession(Channel& channel, const BmcSettings& settings, const CallTime& time) {
  const std::string target = Target(settings);
  std::optional<unsigned> learned;
  if (channel.learned && channel.learned->target == target) learned = channel.learned->flags;
  std::optional<FreeIpmiSession> opened;
  const OpenOutcome outcome = OpenWithWorkarounds(
      settings, learned, [&time] { return time.RoomForAnotherWait(); },
      [&](unsigned flags) {
        OpenAttempt attempt;
        opened = FreeIpmiSession::Open(settings, flags, time.timeouts, attempt);
        attempt.opened = opened.has_value();
        return attempt;
      });
  if (!outcome.flags) {
    LastErrorText::Set(DescribeOpenFailure(settings, time.timeouts.silenceMs, outcome.trials));
    return false;
  }
  channel.session = std::move(opened);
  if (!settings.workaroundsForced && *outcome.flags != 0 && learned != outcome.flags) {
    const std::string names = WorkaroundNames(settings.interface, *outcome.flags);
    Logger::CreateInstance()->Log(
        kLogLevelInfo, kLogSource, "SendTimedImbpRequest", kLogLineWorkaround,
        "session to %s opened with FreeIPMI's workaround %s, kept for this process "
        "([BMC] Workarounds = %s makes it the only one tried)",
        settings.host.c_str(), names.c_str(), names.c_str());
  }
  channel.learned = Learned{target, *outcome.flags};
  return true;
}

int Send(const ImbRequest* request, int timeoutMs, uint8_t* responseData, int* responseLength,
         uint8_t* completionCode) {
  constexpr const char* kFunction = "SendTimedImbpRequest";
  LastErrorText::Clear();
  if (responseLength != nullptr) *responseLength = 0;
  if (request == nullptr || responseData == nullptr || responseLength == nullptr ||
      completionCode == nullptr) {
    LastErrorText::Set("invalid argument: a null pointer");
    return IMB_STATUS_INVALID_ARGUMENT;
  }
  RawRequest raw;
  if (const int status = BuildRawRequest(*request, raw); status != IMB_STATUS_SUCCESS) {
    LastErrorText::Set("invalid argument: a malformed request");
    return status;
  }

  Channel& channel = TheChannel();
  std::lock_guard<std::mutex> lock(channel.mutex);
  if (!channel.session || !channel.settings) {
    const SettingsResult read = ReadSettings(channel.selection);
    if (!read.settings) {
      LastErrorText::Set(read.error);
      LogError(kLogLineSettings, kFunction, read.error);
      return IMB_STATUS_NOT_CONFIGURED;
    }
    channel.settings = *read.settings;
  }
  const BmcSettings& settings = *channel.settings;
  const CallTime time = TimeFor(settings, timeoutMs);
  // A session whose wait no longer fits this call (near the end of a caller's budget), or that
  // was cut short for such a call earlier, is replaced: no reply is awaited past the bound.
  if (channel.session && settings.interface != Interface::kInband &&
      !SessionFits(channel.session->Timeouts(), settings.timeoutMs, time.bound)) {
    channel.session.reset();
  }
  std::array<uint8_t, kRawAnswerCapacity> answerBytes{};
  FreeIpmiSession::Answer answer;
  unsigned waited = time.timeouts.silenceMs;
  // A kept session the BMC has dropped meanwhile (it closes idle ones, or it restarted) fails
  // the first request it carries: that request gets one fresh session, time permitting. One
  // that answered moments ago and then fell silent is not worth another wait: the BMC is gone.
  for (int attempt = 0; attempt < 2; ++attempt) {
    const bool reused = channel.session.has_value();
    if (!channel.session && !OpenSession(channel, settings, time)) {
      LogError(kLogLineOpen, kFunction, LastErrorText::Get());
      return IMB_STATUS_OPEN_FAILED;
    }
    waited = channel.session->Timeouts().silenceMs;
    const auto idle = Clock::now() - channel.lastAnswer;
    answer = channel.session->Send(raw, answerBytes.data(), answerBytes.size());
    if (answer.length >= 0) {
      channel.lastAnswer = Clock::now();
      break;
    }
    if (answer.sessionLost) channel.session.reset();
    const bool fellSilent = PhaseOf(answer.errnum, /*opening=*/false) == Phase::kSessionDropped &&
                            idle < std::chrono::milliseconds(waited);
    if (!answer.sessionLost || !reused || fellSilent || !time.RoomForAnotherWait()) break;
  }
  if (answer.length < 0) {
    LastErrorText::Set(
        DescribeFailure(PhaseOf(answer.errnum, /*opening=*/false), settings, waited, answer.error));
    LogError(kLogLineSend, kFunction, "request failed: " + LastErrorText::Get());
    return IMB_STATUS_SEND_FAILED;
  }
  const int status =
      DecodeRawResponse(raw.command, answerBytes.data(), static_cast<size_t>(answer.length),
                        responseData, responseLength, completionCode);
  if (status != IMB_STATUS_SUCCESS) {
    LastErrorText::Set("unusable answer of " + std::to_string(answer.length) + " bytes");
    LogError(kLogLineBadResponse, kFunction, LastErrorText::Get());
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

int SendTimedImbpRequest(ImbRequest* request, int timeoutMs, uint8_t* responseData,
                         int* responseLength, uint8_t* completionCode) {
  return Guarded(IMB_STATUS_SEND_FAILED, [&] {
    return Send(request, timeoutMs, responseData, responseLength, completionCode);
  });
}

int GetAsyncImbpMessage(uint8_t* message, uint32_t* messageLength, int /*timeoutMs*/,
                        uint32_t* /*sequence*/, uint8_t /*channel*/) {
  return NoAsyncMessage(message, messageLength);
}

int SelectInterface(const char* interfaceName, const char* host, const char* user,
                    const char* password) {
  return Guarded(0, [&] { return Select(interfaceName, host, user, password); });
}

int GetImbpLastError(char* text, uint32_t capacity) {
  return Guarded(0, [&] { return LastErrorText::CopyTo(text, capacity); });
}

}  // extern "C"
