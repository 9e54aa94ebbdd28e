// The scripted double through its C interface, loaded by the real library's name from the
// directory LD_LIBRARY_PATH puts first, as a test of the module finds it.
#include "DriverFixture.h"
#include "LogCapture.h"
#include "oslib/Process.h"

namespace {

using ImbTest::Failed;

class ScriptedDouble : public ImbTest::DriverFixture {
 protected:
  ScriptedDouble() : DriverFixture(Ordix::OS::SharedLibraryFileName("quarnapi").c_str()) {}
  void Script(const std::string& text) { dir_.Write("bmc.script", text); }
  TestSupport::ScopedEnv script_{"QUARNAPI_SIM_SCRIPT", dir_.Path() + "/bmc.script"};
};

TEST_F(ScriptedDouble, AnswersTheScriptedCommandsAndWalksTheEventLog) {
  Script(  // the script's syntax in its variants: case, spacing, comments, CRLF
      "# a board\r\ndevice-id 20 81 5 02\n\nreading 90 00 C0 80 00   # present\n"
      "reading 91 cc=d5\nevent-status 90 c0 cc=00 80 00\nraw 06 04 01:55 01\nfail 0\n"
      "sel 07 00 02 00 00 00 00 20 00 04 12 08 6f 01 ff ff\n"
      "sel 03 00 02 00 00 00 00 20 00 04 0c 08 6f 40 ff ff\n"
      "sel 09 00 02 00 00 00 00 20 00 04 0c 08 6f 41 ff ff\n");
  const std::pair<const char*, const char*> cases[] = {
      {"06 01", "00: 20 81 05 02"},
      {"04 2d 90", "00: 00 c0 80 00"},
      {"04 2b 90", "00: c0 80 00"},
      {"04 2d 91", "d5:"},
      {"06 04 01", "00: 55 01"},
      {"04 2b 91", "cb:"},  // not present
      {"04 2d", "c7:"},     // no sensor number
      {"06 04 02", "c1:"},  // other raw data
      {"0a 40", "c1:"},     // unscripted
      {"0a 43 00 00 ff ff 00 ff", "00: ff ff 09 00 02 00 00 00 00 20 00 04 0c 08 6f 41 ff ff"},
      {"0a 43 00 00 03 00 0a 04", "00: 09 00 0c 08 6f 40"},
      {"0a 43 00 00 03 00 0e 04", "c9:"},
      {"0a 43 00 00 04 00 00 ff", "cb:"},
      {"0a 43 00 00 03", "c7:"},
  };
  for (const auto& [request, reply] : cases) EXPECT_EQ(Send(request), reply) << request;
  EXPECT_EQ(select_("lanplus", nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(select_("serial", nullptr, nullptr, nullptr), 0);

  // Walked by next-record IDs, the log comes in script order, not ID order.
  std::string walked, next = "00 00";
  for (int guard = 0; guard < 10 && next != "ff ff"; ++guard) {
    const std::string reply = Send("0a 43 00 00 " + next + " 00 ff");
    ASSERT_EQ(reply.size(), 3 + 18 * 3U) << reply;
    next = reply.substr(4, 5);
    walked += reply.substr(10, 5) + ";";
  }
  EXPECT_EQ(walked, "07 00;03 00;09 00;");
}

// A caller trying three times succeeds after two failures and fails after three; rewriting
// the script starts its failures again.
TEST_F(ScriptedDouble, ScriptedFailuresPrecedeAnswers) {
  for (const std::string failures : {"2", "3"}) {
    Script("fail " + failures + "\ndevice-id 0" + failures);
    for (int attempt = 0; attempt < std::stoi(failures); ++attempt) {
      EXPECT_EQ(Send("06 01"), Failed(IMB_STATUS_SEND_FAILED)) << failures << " " << attempt;
    }
    EXPECT_EQ(Send("06 01"), "00: 0" + failures);
  }
}

TEST_F(ScriptedDouble, UnusableScriptsFailEveryRequestUntilFixed) {
  TestSupport::LogCapture log;
  EXPECT_EQ(Send("06 01"), Failed(IMB_STATUS_NOT_CONFIGURED)) << "no script file";
  Script("device-id 01\nreading 9z 00\n");
  EXPECT_EQ(Send("06 01"), Failed(IMB_STATUS_NOT_CONFIGURED));
  ASSERT_EQ(log.Records().size(), 2U);
  EXPECT_NE(log.Records()[1].text.find("line 2: sensor number \"9z\""), std::string::npos);
  // Without the variable, the settings name the script.
  TestSupport::ScopedEnv noVariable("QUARNAPI_SIM_SCRIPT", "");
  Configure("SimScript=" + dir_.Write("other.script", "device-id 03\n") + "\n");
  EXPECT_EQ(Send("06 01"), "00: 03");
}

}  // namespace
