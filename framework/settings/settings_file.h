#pragma once
// Reading the settings file itself, bounded: whatever the path names (a FIFO, a device, a huge
// file), reading it neither blocks nor grows without end.

#include <string>

namespace Ordix::Settings {

// Far more than any settings file holds.
inline constexpr size_t kMaxSettingsBytes = size_t{1} << 20;

struct SettingsText {
  enum class State { kMissing, kRead, kUnreadable } state = State::kMissing;
  std::string text;
  std::string problem;  // why a file that is there could not be read
};

// The contents of the regular file at path, of at most kMaxSettingsBytes.
SettingsText ReadSettingsText(const std::string& path);

}  // namespace Ordix::Settings
