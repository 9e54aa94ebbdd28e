// The double's script language: a located error for each kind of bad line (what good lines
// mean is tested through the double itself).
#include <gtest/gtest.h>

#include <string>

#include "sim_script.h"

namespace {

using namespace Ordix::Imb::Sim;

TEST(SimScript, MalformedLinesAreRefusedWithTheirLineNumber) {
  std::string longReply = "device-id";
  for (int i = 0; i < 66; ++i) longReply += " 00";
  const std::string record = " 00 02 00 00 00 00 20 00 04 0c 08 6f 40 ff ff";
  const struct {
    std::string text, expected;
  } cases[] = {
      {"blink 90", "line 1: unknown directive \"blink\""},
      {"# ok\nreading 9g 00", "line 2: sensor number \"9g\""},
      {"reading 100 00", "sensor number \"100\""},
      {"reading", "usage: reading"},
      {"event-status 90 0x80", "reply byte \"0x80\""},
      {"reading 90 cc=", "completion code \"\""},
      {"reading 90 cc=01 cc=02", "more than one completion code"},
      {"reading 90 00\nreading 90 01", "line 2: this sensor's reading given twice"},
      {"device-id 01\ndevice-id 02", "device-id given twice"},
      {"sel 01 00 02", "a SEL record has 16 bytes, not 3"},
      {"sel 00" + record, "record IDs 0000 and FFFF"},
      {"sel 05" + record + "\nsel 05" + record, "line 2: SEL record ID given twice"},
      {"raw 06 01 00 01", "usage: raw"},
      {"raw 06 : 00", "usage: raw"},
      {"raw 06 01 : 00\nraw 06 01 : 01", "this raw request given twice"},
      {"fail", "usage: fail N"},
      {"fail -1", "not a decimal count"},
      {"fail 1\nfail 2", "fail given twice"},
      {longReply, "at most 65 bytes"},
      {std::string("reading 90 \0\x01\xff", 14), "reply byte"},
  };
  for (const auto& c : cases) {
    const ParseResult parsed = ParseScript(c.text);
    EXPECT_FALSE(parsed.script) << c.text;
    EXPECT_NE(parsed.error.find(c.expected), std::string::npos)
        << c.text << "\n  gave: " << parsed.error;
  }
}

}  // namespace
