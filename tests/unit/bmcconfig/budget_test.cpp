// The BMC's time within one query: the arithmetic, then the exported budget as the module's
// paths meet it, query by query.
#include <gtest/gtest.h>

#include "BmcBudget.h"
#include "QueryScope.h"
#include "Settings.h"
#include "TempDir.h"
#include "bmc_budget.h"

namespace {

using namespace Module::BMCConfig;
using std::chrono::milliseconds;

// Fast requests cost nothing; failed ones and ones slow enough to have been sent again use the
// time up, and then nothing more goes out. The wait handed on is what is left, capped by the
// caller's own bound.
TEST(BmcBudgetArithmetic, LostTimeIsCountedUntilSpent) {
  BudgetState s = StartBudget(1000);
  EXPECT_EQ(s.stallMs, 6U) << "a sixteenth of the driver's 100 ms retransmission timeout";
  EXPECT_EQ(Admit(s, 0).timeoutMs, 1000);
  EXPECT_EQ(Admit(s, 300).timeoutMs, 300);
  for (int i = 0; i < 1000; ++i) Charge(s, 5999, false, 300);
  EXPECT_EQ(s.lostMs, 0U) << "a healthy walk of any length costs no budget";
  for (int i = 0; i < 1000; ++i) Charge(s, 45000, false, 20000);
  EXPECT_EQ(s.lostMs, 0U) << "nor does one on a slow link, however slow";
  Charge(s, 50000, false, 300);  // a resend
  Charge(s, 450000, true, 300);  // a failure
  EXPECT_EQ(s.lostMs, 500U);
  EXPECT_EQ(Admit(s, 0).timeoutMs, 500);
  EXPECT_EQ(Admit(s, 10000).timeoutMs, 500);
  Charge(s, 500000, false, 0);  // nothing known of the link yet
  const Admission spent = Admit(s, 0);
  EXPECT_TRUE(spent.refused);
  EXPECT_EQ(spent.reason,
            "this query's time for the BMC ([BMC] TimeoutMs = 1000) is spent on 3 slow or failed "
            "requests");
  s.failure = "driver status 3";
  EXPECT_EQ(Admit(s, 0).reason, "the BMC failed earlier in this query: driver status 3");
}

class BmcBudgetPerQuery : public ::testing::Test {
 protected:
  void SetUp() override { dir_.Write(Ordix::Settings::kFileName, "[BMC]\nTimeoutMs=2000\n"); }
  TestSupport::TempDir dir_;
  TestSupport::ScopedEnv configDir_{"ORDIX_CONFIG_DIR", dir_.Path()};
};

// A failure refuses the rest of its query, nested scopes included, and only that query; outside
// a query nothing is refused or capped.
TEST_F(BmcBudgetPerQuery, AFailureRefusesTheRestOfItsQueryOnly) {
  EXPECT_EQ(BmcBudget::Admit(10000).timeoutMs, 10000);
  BmcBudget::Fail("outside");
  EXPECT_FALSE(BmcBudget::Admit(0).refused);
  {
    QueryScope query;
    EXPECT_EQ(BmcBudget::Admit(10000).timeoutMs, 2000) << "the settings' TimeoutMs";
    BmcBudget::Charge(milliseconds(700), true);
    BmcBudget::Fail("first");
    BmcBudget::Fail("second");
    QueryScope nested;
    const BmcBudget::Grant refused = BmcBudget::Admit(0);
    EXPECT_TRUE(refused.refused);
    EXPECT_EQ(refused.reason, "the BMC failed earlier in this query: first");
  }
  QueryScope next;
  const BmcBudget::Grant fresh = BmcBudget::Admit(0);
  EXPECT_FALSE(fresh.refused);
  EXPECT_EQ(fresh.timeoutMs, 2000);
}

TEST_F(BmcBudgetPerQuery, AnUnusableTimeoutFallsBackToTheDefault) {
  dir_.Write(Ordix::Settings::kFileName, "[BMC]\nTimeoutMs=10\n");
  QueryScope query;
  EXPECT_EQ(BmcBudget::Admit(0).timeoutMs, 5000);
}

}  // namespace
