#pragma once
// The exit statuses of platformq. They are ordered by severity, so the status of several
// queries or rounds is simply the largest one seen.

namespace Platformq {

constexpr int kExitAnswered = 0;    // every query answered
constexpr int kExitUnanswered = 1;  // some query answered nothing
constexpr int kExitRaised = 2;      // an error was raised (by the module or the tool itself)
constexpr int kExitUsage = 64;      // the command line could not be understood

inline int Worse(int a, int b) {
  return a > b ? a : b;
}

}  // namespace Platformq
