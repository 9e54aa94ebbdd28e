#pragma once
// What the settings readers of every OS share: how an integer setting is read.

#include <string>

namespace Ordix::Settings {

// A whole decimal number at the start of text (blanks and a sign allowed before it, anything
// after it ignored: "010" is 10, "30 ms" is 30), or fallback when text does not start with
// one. Decimal on every OS, as the Windows profile API reads integers.
long ParseDecimal(const std::string& text, long fallback);

}  // namespace Ordix::Settings
