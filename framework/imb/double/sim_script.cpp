#include "sim_script.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "imb.h"

namespace Ordix::Imb::Sim {

namespace {

constexpr std::string_view kCompletionCodePrefix = "cc=";
constexpr size_t kMaxByteDigits = 2;
constexpr int kHex = 16;

// A line that cannot be read; caught once per line and turned into "line N: ...".
struct LineError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  size_t pos = 0;
  while (pos < line.size()) {
    const size_t start = line.find_first_not_of(" \t\r", pos);
    if (start == std::string_view::npos) break;
    const size_t end = std::min(line.find_first_of(" \t\r", start), line.size());
    words.push_back(line.substr(start, end - start));
    pos = end;
  }
  return words;
}

uint8_t Byte(std::string_view word, const char* what) {
  unsigned value = 0;
  const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value, kHex);
  if (word.empty() || word.size() > kMaxByteDigits || ec != std::errc() ||
      end != word.data() + word.size()) {
    throw LineError(std::string(what) + " \"" + std::string(word) + "\" is not a hexadecimal byte");
  }
  return static_cast<uint8_t>(value);
}

unsigned Count(std::string_view word) {
  unsigned value = 0;
  const auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (word.empty() || ec != std::errc() || end != word.data() + word.size()) {
    throw LineError("\"" + std::string(word) + "\" is not a decimal count");
  }
  return value;
}

Reply ParseReply(const std::vector<std::string_view>& words, size_t first) {
  Reply reply;
  bool haveCode = false;
  for (size_t i = first; i < words.size(); ++i) {
    const std::string_view word = words[i];
    if (word.substr(0, kCompletionCodePrefix.size()) == kCompletionCodePrefix) {
      if (haveCode) throw LineError("more than one completion code");
      reply.completionCode = Byte(word.substr(kCompletionCodePrefix.size()), "completion code");
      haveCode = true;
    } else {
      reply.data.push_back(Byte(word, "reply byte"));
    }
  }
  if (reply.data.size() > IMB_MAX_RESPONSE_DATA_LENGTH) {
    throw LineError("a reply holds at most " + std::to_string(IMB_MAX_RESPONSE_DATA_LENGTH) +
                    " bytes");
  }
  return reply;
}

template <typename Key>
void AddOnce(std::map<Key, Reply>& into, Key key, Reply reply, const char* what) {
  if (!into.emplace(std::move(key), std::move(reply)).second) {
    throw LineError(std::string(what) + " given twice");
  }
}

void NeedWords(const std::vector<std::string_view>& words, size_t count, const char* usage) {
  if (words.size() < count) throw LineError(std::string("usage: ") + usage);
}

void ParseRaw(std::string_view line, Script& script) {
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) {
    throw LineError("usage: raw NETFN CMD [DATA...] : BYTES...");
  }
  const std::vector<std::string_view> request = Words(line.substr(0, colon));
  NeedWords(request, 3, "raw NETFN CMD [DATA...] : BYTES...");
  RawKey key;
  key.netFn = Byte(request[1], "network function");
  key.command = Byte(request[2], "command");
  for (size_t i = 3; i < request.size(); ++i) key.data.push_back(Byte(request[i], "data byte"));
  AddOnce(script.raw, std::move(key), ParseReply(Words(line.substr(colon + 1)), 0),
          "this raw request");
}

void ParseSel(const std::vector<std::string_view>& words, Script& script) {
  if (words.size() != 1 + Ipmi::kSelRecordBytes) {
    throw LineError("a SEL record has " + std::to_string(Ipmi::kSelRecordBytes) + " bytes, not " +
                    std::to_string(words.size() - 1));
  }
  SelRecord record{};
  for (size_t i = 0; i < record.size(); ++i) record[i] = Byte(words[i + 1], "record byte");
  const uint16_t id = SelRecordId(record);
  if (id == Ipmi::kSelFirstRecord || id == Ipmi::kSelLastRecord) {
    throw LineError("record IDs 0000 and FFFF name the first and last record");
  }
  for (const SelRecord& earlier : script.sel) {
    if (SelRecordId(earlier) == id) throw LineError("SEL record ID given twice");
  }
  script.sel.push_back(record);
}

void ParseLine(std::string_view line, Script& script, bool& failSeen) {
  const std::vector<std::string_view> words = Words(line);
  if (words.empty()) return;
  const std::string_view keyword = words[0];
  if (keyword == "device-id") {
    if (script.deviceId) throw LineError("device-id given twice");
    script.deviceId = ParseReply(words, 1);
  } else if (keyword == "reading") {
    NeedWords(words, 2, "reading SENSOR BYTES...");
    AddOnce(script.readings, Byte(words[1], "sensor number"), ParseReply(words, 2),
            "this sensor's reading");
  } else if (keyword == "event-status") {
    NeedWords(words, 2, "event-status SENSOR BYTES...");
    AddOnce(script.eventStatus, Byte(words[1], "sensor number"), ParseReply(words, 2),
            "this sensor's event status");
  } else if (keyword == "sel") {
    ParseSel(words, script);
  } else if (keyword == "raw") {
    ParseRaw(line, script);
  } else if (keyword == "fail") {
    if (words.size() != 2) throw LineError("usage: fail N");
    if (failSeen) throw LineError("fail given twice");
    script.failures = Count(words[1]);
    failSeen = true;
  } else {
    throw LineError("unknown directive \"" + std::string(keyword) + "\"");
  }
}

}  // namespace

uint16_t SelRecordId(const SelRecord& record) {
  return static_cast<uint16_t>(record[0] | (record[1] << 8));
}

ParseResult ParseScript(std::string_view text) {
  Script script;
  bool failSeen = false;
  size_t lineNumber = 0;
  while (!text.empty()) {
    ++lineNumber;
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    line = line.substr(0, line.find('#'));
    try {
      ParseLine(line, script, failSeen);
    } catch (const LineError& e) {
      return {std::nullopt, "line " + std::to_string(lineNumber) + ": " + e.what()};
    }
  }
  return {std::move(script), {}};
}

}  // namespace Ordix::Imb::Sim
