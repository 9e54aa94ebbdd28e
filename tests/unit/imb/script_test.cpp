// The double's script language: what a script means, and a clear, located error for every
// kind of malformed line.

#include <gtest/gtest.h>

#include <string>

#include "sim_script.h"

namespace {

using namespace Ordix::Imb::Sim;

TEST(SimScript, ReadsEveryDirective) {
  const ParseResult parsed = ParseScript(
      "# a dual-socket board\r\n"
      "device-id 20 81 5 02\n"
      "\n"
      "reading 90 00 C0 80 00   # present\n"
      "reading 91 cc=cb\n"
      "event-status 90 c0 cc=d5 80\n"
      "sel 02 00 02 00 00 00 00 20 00 04 0c 08 6f 40 ff ff\n"
      "sel 01 00 02 00 00 00 00 20 00 04 12 08 6f 01 ff ff\n"
      "raw 0a 42 : 34 12\n"
      "raw 06 04 01:cc=c0\n"
      "fail 2\n");
  ASSERT_TRUE(parsed.script) << parsed.error;
  const Script& s = *parsed.script;
  EXPECT_EQ(s.deviceId, (Reply{0, {0x20, 0x81, 0x05, 0x02}}));
  EXPECT_EQ(s.readings.at(0x90), (Reply{0, {0x00, 0xC0, 0x80, 0x00}}));
  EXPECT_EQ(s.readings.at(0x91), (Reply{0xCB, {}}));
  EXPECT_EQ(s.eventStatus.at(0x90), (Reply{0xD5, {0xC0, 0x80}}));
  ASSERT_EQ(s.sel.size(), 2U);  // script order, not ID order
  EXPECT_EQ(SelRecordId(s.sel[0]), 0x0002);
  EXPECT_EQ(SelRecordId(s.sel[1]), 0x0001);
  EXPECT_EQ(s.sel[1][10], 0x12);
  EXPECT_EQ(s.raw.at(RawKey{0x0A, 0x42, {}}), (Reply{0, {0x34, 0x12}}));
  EXPECT_EQ(s.raw.at(RawKey{0x06, 0x04, {0x01}}), (Reply{0xC0, {}}));
  EXPECT_EQ(s.failures, 2U);
}

TEST(SimScript, MalformedLinesAreRefusedWithTheirLineNumber) {
  std::string longReply = "device-id";
  for (int i = 0; i < 66; ++i) longReply += " 00";
  const std::string record = " 00 02 00 00 00 00 20 00 04 0c 08 6f 40 ff ff";
  const struct {
    std::string text;
    std::string expected;
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
