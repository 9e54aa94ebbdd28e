// How the FreeIPMI driver times its sessions, which workarounds it tries when one will not
// open, and how it says what failed. Pure parts, checked without a BMC.
#include <freeipmi/freeipmi.h>
#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "session_failure.h"
#include "session_opener.h"
#include "session_timing.h"

namespace {

using namespace Ordix::Imb;

// FreeIPMI's waits with retransmission timeout r: r, r, 2r, 2r, 3r, ... and their running sums.
bool IsRunningSum(unsigned total, unsigned r) {
  unsigned sum = 0;
  for (unsigned i = 0; sum < total; ++i) sum += r * (i / 2 + 1);
  return sum == total;
}

TEST(SessionTiming, SilenceIsAFreeIpmiWaitSumWithinHalfTheBound) {
  // TimeoutMs, the call's bound: the session's silence and retransmission timeout.
  const std::tuple<unsigned, unsigned, unsigned, unsigned> cases[] = {
      {1000, 1000, 400, 100},          // 100 200 400 | 600
      {2000, 2000, 800, 200},          // ... 400 800 | 1200
      {5000, 5000, 2000, 500},         // ... 1000 2000 | 3000
      {5000, 3000, 1000, 500},         // a shorter bound: fewer waits of the same length
      {5000, 1200, 600, 300},          // too short for two usual waits: the waits shrink
      {50, 50, 20, 10},                // the least TimeoutMs
      {600000, 600000, 289000, 1000},  // 16 pairs of waits, then one of 17 s
  };
  for (const auto& [timeout, bound, silence, retransmission] : cases) {
    const SessionTimeouts t = TimeoutsFor(timeout, bound);
    EXPECT_EQ(std::make_pair(t.silenceMs, t.retransmissionMs),
              std::make_pair(silence, retransmission))
        << timeout << " " << bound;
  }
  // FreeIPMI gives up at the first running sum past its session timeout: that must be the
  // silence meant, and it must fit in half the bound.
  for (unsigned bound = 0; bound < 30000; bound = bound * 3 / 2 + 1) {
    const SessionTimeouts t = TimeoutsFor(5000, bound);
    EXPECT_TRUE((2 * t.silenceMs <= bound || bound < 8) && t.retransmissionMs < t.sessionMs &&
                t.sessionMs < t.silenceMs && IsRunningSum(t.silenceMs, t.retransmissionMs) &&
                !IsRunningSum(t.sessionMs, t.retransmissionMs) &&
                t.silenceMs - t.sessionMs < t.retransmissionMs)
        << bound << ": " << t.silenceMs << " " << t.sessionMs << " " << t.retransmissionMs;
  }
  // A kept session serves while its wait fits the call and was not cut to far below what the
  // call wants: small differences are not worth the round trips of a new session.
  const SessionTimeouts full = TimeoutsFor(1000, 1000);  // waits 400 ms
  EXPECT_TRUE(SessionFits(full, 1000, 1000));
  EXPECT_TRUE(SessionFits(full, 1000, 700)) << "wants 200 ms: close enough";
  EXPECT_FALSE(SessionFits(full, 1000, 350)) << "400 ms does not fit a 350 ms call";
  EXPECT_FALSE(SessionFits(TimeoutsFor(1000, 300), 1000, 1000)) << "150 ms, cut short, is replaced";
  EXPECT_EQ(RetransmissionMs(50), 10U);
  EXPECT_EQ(RetransmissionMs(3000), 300U);
  EXPECT_EQ(RetransmissionMs(600000), 1000U);
}

BmcSettings LanPlus(const std::string& workarounds = "") {
  BmcSettings s;
  s.interface = Interface::kLanPlus;
  s.host = "127.0.0.1:623";
  s.user = "admin";
  s.privilegeLevel = IPMI_PRIVILEGE_LEVEL_ADMIN;
  if (!workarounds.empty()) {
    s.workaroundsForced = true;
    s.workaroundFlags =
        workarounds == "none" ? 0 : IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION;
  }
  return s;
}

constexpr unsigned kOpenSessPriv = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE;
constexpr unsigned kIntel = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_INTEL_2_0_SESSION;
constexpr unsigned kSupermicro = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUPERMICRO_2_0_SESSION;
constexpr unsigned kSun = IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_SUN_2_0_SESSION;

// FreeIPMI's words for the failures these tests meet.
std::string Words(int errnum) {
  switch (errnum) {
    case IPMI_ERR_PASSWORD_INVALID:
      return "password invalid";
    case IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED:
      return "privilege level cannot be obtained for this user";
    case IPMI_ERR_CONNECTION_TIMEOUT:
      return "connection timeout";
    default:
      return "error " + std::to_string(errnum);
  }
}

// A BMC that opens only with the flags in `opens`, and fails every other attempt as `failures`
// says (by flags; `otherwise` for the rest). Records the flags tried, in order.
struct FakeBmc {
  explicit FakeBmc(std::optional<unsigned> o = {}, std::map<unsigned, int> f = {},
                   int rest = IPMI_ERR_PASSWORD_INVALID)
      : opens(o), failures(std::move(f)), otherwise(rest) {}
  std::optional<unsigned> opens;
  std::map<unsigned, int> failures;
  int otherwise;
  std::vector<unsigned> tried;
  OpenAttempt operator()(unsigned flags) {
    tried.push_back(flags);
    if (opens == flags) return {true, 0, ""};
    const auto it = failures.find(flags);
    const int errnum = it == failures.end() ? otherwise : it->second;
    return {false, errnum, Words(errnum)};
  }
};

OpenOutcome Open(const BmcSettings& s, FakeBmc& bmc, std::optional<unsigned> learned = {},
                 int attemptsAllowed = 100) {
  return OpenWithWorkarounds(
      s, learned, [&] { return static_cast<int>(bmc.tried.size()) < attemptsAllowed; },
      [&](unsigned flags) { return bmc(flags); });
}

TEST(SessionOpening, WorkaroundsAreTriedForTheFailureMet) {
  // The stock simulator: the privilege is refused until the Open Session privilege is used.
  FakeBmc sim(kOpenSessPriv, {{0, IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED}});
  EXPECT_EQ(Open(LanPlus(), sim).flags, kOpenSessPriv);
  EXPECT_EQ(sim.tried, (std::vector<unsigned>{0, kOpenSessPriv}));

  // Learned flags go first, and a BMC that takes them is opened at once.
  FakeBmc again(kOpenSessPriv);
  EXPECT_EQ(Open(LanPlus(), again, kOpenSessPriv).flags, kOpenSessPriv);
  EXPECT_EQ(again.tried.size(), 1U);

  // A refused password tries each workaround FreeIPMI names for it, each once.
  FakeBmc wrongPassword;
  EXPECT_FALSE(Open(LanPlus(), wrongPassword).flags);
  EXPECT_EQ(wrongPassword.tried,
            (std::vector<unsigned>{0, kOpenSessPriv, kIntel, kSupermicro, kSun}));

  // Silence is not worth a second wait; nor is anything when the time is up.
  FakeBmc dead(std::nullopt, {}, IPMI_ERR_CONNECTION_TIMEOUT);
  EXPECT_FALSE(Open(LanPlus(), dead).flags);
  EXPECT_EQ(dead.tried.size(), 1U);
  FakeBmc late(kOpenSessPriv, {{0, IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED}});
  EXPECT_FALSE(Open(LanPlus(), late, {}, 1).flags);
  EXPECT_EQ(late.tried.size(), 1U);

  // A forced choice is the only one tried, "none" included.
  for (const char* forced : {"none", "sun20"}) {
    FakeBmc strict(kOpenSessPriv, {}, IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED);
    EXPECT_FALSE(Open(LanPlus(forced), strict).flags) << forced;
    EXPECT_EQ(strict.tried, (std::vector<unsigned>{forced == std::string("none") ? 0U : kSun}));
  }
}

// The attempt that got furthest leads the description: the first whose failure differs from
// the plain attempt's.
TEST(SessionOpening, TheFailureDescriptionLeadsWithTheAttemptThatGotFurthest) {
  FakeBmc bmc(std::nullopt, {{0, IPMI_ERR_PRIVILEGE_LEVEL_CANNOT_BE_OBTAINED}});
  const OpenOutcome outcome = Open(LanPlus(), bmc);
  EXPECT_EQ(DescribeOpenFailure(LanPlus(), 900, outcome.trials),
            "authentication refused for user \"admin\": [BMC] User/Password (FreeIPMI: password "
            "invalid) with [BMC] Workarounds = opensesspriv; also tried [BMC] Workarounds = none "
            "(privilege level cannot be obtained for this user), intel20 (password invalid), "
            "supermicro20 (password invalid), sun20 (password invalid)");
  FakeBmc dead(std::nullopt, {}, IPMI_ERR_CONNECTION_TIMEOUT);
  EXPECT_EQ(DescribeOpenFailure(LanPlus(), 900, Open(LanPlus(), dead).trials),
            "no reply from 127.0.0.1:623 within 900 ms: is [BMC] Host/Port right, is the BMC up? "
            "(FreeIPMI: connection timeout)");
}

// Each phase names the setting to look at.
TEST(SessionFailure, EachPhaseNamesItsSetting) {
  const std::tuple<int, bool, const char*> cases[] = {
      {IPMI_ERR_CONNECTION_TIMEOUT, true,
       "no reply from 127.0.0.1:623 within 450 ms: is [BMC] Host/Port right"},
      {IPMI_ERR_SESSION_TIMEOUT, true, "no reply from 127.0.0.1:623"},
      {IPMI_ERR_SESSION_TIMEOUT, false,
       "session dropped: no reply from 127.0.0.1:623 within 450 ms"},
      {IPMI_ERR_HOSTNAME_INVALID, true, "cannot be resolved: [BMC] Host"},
      {IPMI_ERR_USERNAME_INVALID, true, "does not know user \"admin\": [BMC] User"},
      {IPMI_ERR_K_G_INVALID, true,
       "authentication refused for user \"admin\": [BMC] User/Password"},
      {IPMI_ERR_PASSWORD_VERIFICATION_TIMEOUT, true, "no reply to the password check"},
      {IPMI_ERR_PRIVILEGE_LEVEL_INSUFFICIENT, true,
       "RMCP+ session refused at privilege admin for user \"admin\": [BMC] Privilege"},
      {IPMI_ERR_CIPHER_SUITE_ID_UNAVAILABLE, true, "cipher suite 3 refused: [BMC] CipherSuite"},
      {IPMI_ERR_IPMI_2_0_UNAVAILABLE, true, "[BMC] Interface = lan"},
      {IPMI_ERR_DEVICE_NOT_FOUND, true, "in-band device /dev/ipmi0 does not work: [BMC] Device"},
  };
  for (const auto& [errnum, opening, expected] : cases) {
    const std::string text =
        DescribeFailure(PhaseOf(errnum, opening), LanPlus(), 450, Words(errnum));
    EXPECT_NE(text.find(expected), std::string::npos) << errnum << ": " << text;
    EXPECT_NE(text.find("(FreeIPMI: " + Words(errnum) + ")"), std::string::npos) << text;
  }
}

}  // namespace
