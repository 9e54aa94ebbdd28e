#include <gtest/gtest.h>

#include "ErrorCodes.h"
#include "osinfo_decode.h"

namespace {

using namespace Ordix::OSInfo;

constexpr uint64_t kKiBPerMiB = 1024;
constexpr uint64_t kU64Max = 18446744073709551615ULL;

std::string MiB(uint64_t kib) {
  return std::to_string(kib / kKiBPerMiB);
}

TEST(ParseDecimal, AcceptsOnlyDigitsThatFitIn64Bits) {
  EXPECT_EQ(ParseDecimal("0"), 0u);
  EXPECT_EQ(ParseDecimal("000123"), 123u);
  EXPECT_EQ(ParseDecimal("18446744073709551615"), kU64Max);
  EXPECT_EQ(ParseDecimal("18446744073709551616"), std::nullopt);
  EXPECT_EQ(ParseDecimal("99999999999999999999999"), std::nullopt);
  for (const char* bad : {"", "-1", "+1", " 1", "1 ", "1a", "0x10", "1.5"}) {
    EXPECT_EQ(ParseDecimal(bad), std::nullopt) << '"' << bad << '"';
  }
  EXPECT_EQ(ParseAttribute(" 42\n"), 42u);
  EXPECT_EQ(ParseAttribute("\n"), std::nullopt);
}

TEST(UnitConversion, RoundsDownAndNeverWraps) {
  EXPECT_EQ(KiBToMiBText(1023), "0");
  EXPECT_EQ(KiBToMiBText(2047), "1");
  EXPECT_EQ(ToGiBText(1, (uint64_t{1} << 30) - 1), "0");
  EXPECT_EQ(ToGiBText(3, uint64_t{1} << 29), "1");
  // The byte count overflows 64 bits; the gibibyte count does not.
  EXPECT_EQ(ToGiBText(kU64Max, uint64_t{1} << 20), std::to_string(kU64Max >> 10));
  // Neither does: reported as unknown rather than wrapped.
  EXPECT_EQ(ToGiBText(kU64Max, kU64Max), kUnknown);
}

TEST(ParseMemInfo, ModernKernelFigures) {
  const uint64_t total = 16318540, avail = 10240000, swapTotal = 2097148, swapFree = 2000000,
                 limit = 10256416, committed = 6000000;
  std::string text = "MemTotal:       " + std::to_string(total) +
                     " kB\n"
                     "MemFree:          100000 kB\n"
                     "MemAvailable:   " +
                     std::to_string(avail) +
                     " kB\n"
                     "Buffers:          200 kB\n"
                     "HugePages_Total:       0\n"
                     "SwapTotal:      " +
                     std::to_string(swapTotal) +
                     " kB\nSwapFree:       " + std::to_string(swapFree) +
                     " kB\nCommitLimit:    " + std::to_string(limit) +
                     " kB\nCommitted_AS:   " + std::to_string(committed) + " kB";  // no final \n
  MemInfoResult r = ParseMemInfo(text);
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(r.info.memoryLoad, std::to_string((total - avail) * 100 / total));
  EXPECT_EQ(r.info.totalMemory, MiB(total));
  EXPECT_EQ(r.info.freeMemory, MiB(avail));
  EXPECT_EQ(r.info.totalPageFile, MiB(swapTotal));
  EXPECT_EQ(r.info.freePageFile, MiB(swapFree));
  EXPECT_EQ(r.info.totalVirtualMemory, MiB(limit));
  EXPECT_EQ(r.info.freeVirtualMemory, MiB(limit - committed));
}

TEST(ParseMemInfo, LoadRoundsDownAndClampsAtTheEdges) {
  EXPECT_EQ(ParseMemInfo("MemTotal: 1000 kB\nMemAvailable: 1 kB\n").info.memoryLoad, "99");
  EXPECT_EQ(ParseMemInfo("MemTotal: 1000 kB\nMemAvailable: 1000 kB\n").info.memoryLoad, "0");
  // More available than installed (damaged text) is no use, not negative use.
  EXPECT_EQ(ParseMemInfo("MemTotal: 1000 kB\nMemAvailable: 5000 kB\n").info.memoryLoad, "0");
  // used * 100 exceeds 64 bits here.
  std::string huge = "MemTotal: 18446744073709551615 kB\nMemAvailable: 0 kB\n";
  EXPECT_EQ(ParseMemInfo(huge).info.memoryLoad, "100");
  // Overcommitted: no headroom left rather than a negative figure.
  MemInfoResult over =
      ParseMemInfo("MemTotal: 4096 kB\nCommitLimit: 2048 kB\nCommitted_AS: 9999 kB\n");
  EXPECT_EQ(over.info.freeVirtualMemory, "0");
}

TEST(ParseMemInfo, OldKernelWithoutMemAvailable) {
  const uint64_t total = 8192000, free = 1024000, buffers = 51200, cached = 2048000;
  MemInfoResult r =
      ParseMemInfo("MemTotal: " + std::to_string(total) + " kB\nMemFree: " + std::to_string(free) +
                   " kB\nBuffers: " + std::to_string(buffers) +
                   " kB\nCached: " + std::to_string(cached) + " kB\n");
  ASSERT_EQ(r.code, 0);
  const uint64_t avail = free + buffers + cached;
  EXPECT_EQ(r.info.freeMemory, MiB(avail));
  EXPECT_EQ(r.info.memoryLoad, std::to_string((total - avail) * 100 / total));
}

TEST(ParseMemInfo, AbsentFiguresAreUnknownNotInvented) {
  // No MemAvailable and an incomplete fallback; no swap or commit lines at all.
  MemInfoResult r = ParseMemInfo("MemTotal: 2048 kB\nMemFree: 1024 kB\nCached: 10 kB\n");
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(r.info.totalMemory, "2");
  for (const std::string* field :
       {&r.info.freeMemory, &r.info.memoryLoad, &r.info.totalPageFile, &r.info.freePageFile,
        &r.info.totalVirtualMemory, &r.info.freeVirtualMemory}) {
    EXPECT_EQ(*field, kUnknown);
  }
  // A limit without the committed figure still gives the total.
  MemInfoResult limitOnly = ParseMemInfo("MemTotal: 2048 kB\nCommitLimit: 3072 kB\n");
  EXPECT_EQ(limitOnly.info.totalVirtualMemory, "3");
  EXPECT_EQ(limitOnly.info.freeVirtualMemory, kUnknown);
}

TEST(ParseMemInfo, IgnoresLinesItDoesNotUse) {
  MemInfoResult r = ParseMemInfo(
      "garbage without a colon\n\n:\nDirectMap4k: lots\nMemTotal: 3072 kB\r\nMemTotal: 1 kB\n"
      "HugePages_Total: x\n");
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(r.info.totalMemory, "3");  // first of a repeated key stands
}

TEST(ParseMemInfo, MalformedTextIsRejected) {
  const char* cases[] = {
      "",
      "\n\n\n",
      "MemFree: 1024 kB\n",                     // no total
      "MemTotal: 0 kB\n",                       // nothing installed
      "MemTotal:\n",                            // truncated after the key
      "MemTot",                                 // truncated inside the key
      "MemTotal: abc kB\n",                     // not a number
      "MemTotal: -4096 kB\n",                   // negative
      "MemTotal: 4096 MB\n",                    // not kibibytes
      "MemTotal: 18446744073709551616 kB\n",    // beyond 64 bits
      "MemTotal: 4096 kB\nSwapFree: 12x kB\n",  // a used figure that does not parse
      "MemTotal: 4096 kB\nMemFree: 18446744073709551615 kB\nBuffers: 1 kB\nCached: 1 kB\n",
  };
  for (const char* text : cases) {
    MemInfoResult r = ParseMemInfo(text);
    EXPECT_EQ(r.code, ErrorCode::kOSMemoryMalformed) << '"' << text << '"';
    EXPECT_TRUE(r.info.totalMemory.empty()) << '"' << text << '"';
  }
}

}  // namespace
