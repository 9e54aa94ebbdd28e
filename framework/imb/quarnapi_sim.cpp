// The scripted double of the management-bus driver: answers from the script named by
// QUARNAPI_SIM_SCRIPT (else the settings' [BMC] SimScript). A script whose name or text
// changed is parsed afresh, which also restarts its scripted failures.

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <string>

#include "Logger.h"
#include "Settings.h"
#include "bmc_settings.h"
#include "imb.h"
#include "imb_calls.h"
#include "imb_request.h"
#include "sim_responder.h"
#include "sim_script.h"

namespace {

using namespace Ordix::Imb;

constexpr const char* kScriptVariable = "QUARNAPI_SIM_SCRIPT";
constexpr const char* kScriptKey = "SimScript";
constexpr const char* kLogSource = "quarnapi-sim";
constexpr int kLogLevelError = 2;
constexpr int kLogLevelTrace = 4;
constexpr int kLogLineScript = 30;
constexpr int kLogLineFailure = 31;
// Scripts are a few hundred lines; anything this large is the wrong file.
constexpr off_t kMaxScriptBytes = off_t{1} << 20;

// The script as last read, good or bad: it is parsed again only when it changes.
struct LoadedScript {
  std::string path;
  std::optional<std::string> text;  // none: unreadable
  bool operator==(const LoadedScript& o) const { return path == o.path && text == o.text; }
};

struct Double {
  std::mutex mutex;
  std::optional<LoadedScript> loaded;
  std::optional<Sim::Responder> responder;
};

Double& TheDouble() {
  static Double instance;
  return instance;
}

std::string ScriptPath() {
  const char* fromEnvironment = std::getenv(kScriptVariable);
  if (fromEnvironment != nullptr && *fromEnvironment != '\0') return fromEnvironment;
  return Ordix::Settings::GetString(kSection, kScriptKey, "");
}

// The script's text, or why it cannot be read. The file is read whole on every request:
// modification times are too coarse to see a script rewritten within the same tick.
std::optional<std::string> ReadScript(const std::string& path, std::string& error) {
  if (path.empty()) {
    error = std::string("no script: set ") + kScriptVariable + " or [BMC] " + kScriptKey;
    return std::nullopt;
  }
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    error = "cannot read script " + path;
    return std::nullopt;
  }
  if (info.st_size > kMaxScriptBytes) {
    error = "script " + path + " is larger than 1 MiB";
    return std::nullopt;
  }
  std::ifstream in(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad() || text.size() > static_cast<size_t>(kMaxScriptBytes)) {
    error = "cannot read script " + path;
    return std::nullopt;
  }
  return text;
}

// The responder for the current script, rebuilt when the script changed; null when there is
// none. A problem is logged once per change of script, not once per request.
Sim::Responder* Current(Double& state) {
  std::string error;
  const std::string path = ScriptPath();
  const std::optional<std::string> text = ReadScript(path, error);
  LoadedScript now{path, text};
  if (state.loaded && *state.loaded == now) {
    return state.responder ? &*state.responder : nullptr;
  }
  state.loaded = std::move(now);
  state.responder.reset();
  if (text) {
    Sim::ParseResult parsed = Sim::ParseScript(*text);
    if (parsed.script) {
      state.responder.emplace(std::move(*parsed.script));
    } else {
      error = "script " + path + ", " + parsed.error;
    }
  }
  if (!state.responder) {
    Logger::CreateInstance()->Log(kLogLevelError, kLogSource, "SendTimedImbpRequest",
                                  kLogLineScript, "%s", error.c_str());
    return nullptr;
  }
  return &*state.responder;
}

int Send(const ImbRequest* request, uint8_t* responseData, int* responseLength,
         uint8_t* completionCode) {
  LastErrorText::Clear();
  if (responseLength != nullptr) *responseLength = 0;
  if (request == nullptr || responseData == nullptr || responseLength == nullptr ||
      completionCode == nullptr) {
    return IMB_STATUS_INVALID_ARGUMENT;
  }
  RawRequest raw;
  if (const int status = BuildRawRequest(*request, raw); status != IMB_STATUS_SUCCESS) {
    return status;
  }
  Double& state = TheDouble();
  std::lock_guard<std::mutex> lock(state.mutex);
  Sim::Responder* responder = Current(state);
  if (responder == nullptr) {
    LastErrorText::Set("no usable script (see the log)");
    return IMB_STATUS_NOT_CONFIGURED;
  }
  const Sim::Responder::Outcome outcome = responder->Answer(raw.netFn, raw.command, raw.data);
  if (outcome.status != IMB_STATUS_SUCCESS) {
    Logger::CreateInstance()->Log(kLogLevelTrace, kLogSource, "SendTimedImbpRequest",
                                  kLogLineFailure, "scripted failure of %02x/%02x", raw.netFn,
                                  raw.command);
    LastErrorText::Set("the script makes this request fail");
    return outcome.status;
  }
  return WriteResponse(outcome.reply.completionCode, outcome.reply.data.data(),
                       outcome.reply.data.size(), responseData, responseLength, completionCode);
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

int SelectInterface(const char* interfaceName, const char* /*host*/, const char* /*user*/,
                    const char* /*password*/) {
  return interfaceName != nullptr && ParseInterface(interfaceName) ? 1 : 0;
}

int GetImbpLastError(char* text, uint32_t capacity) {
  return Guarded(0, [&] { return LastErrorText::CopyTo(text, capacity); });
}

}  // extern "C"
