#include <gtest/gtest.h>

#include "osinfo_decode.h"

namespace {

using namespace Ordix::OSInfo;

TEST(HostName, ShortNameAndDomainFromNodeName) {
  EXPECT_EQ(ShortHostName("web01.lab.example.com"), "web01");
  EXPECT_EQ(ShortHostName("web01"), "web01");
  EXPECT_EQ(ShortHostName(""), "");
  // A dotted node name decides alone; the hosts file is not asked.
  EXPECT_EQ(DomainOf("web01.lab.example.com", "10.0.0.1 web01.other.org web01\n"),
            "lab.example.com");
  // A bare name, or one with only a trailing dot, falls back to the hosts file.
  const char* hosts = "10.0.0.1 web01.other.org web01\n";
  EXPECT_EQ(DomainOf("web01", hosts), "other.org");
  EXPECT_EQ(DomainOf("web01.", hosts), "other.org");
  EXPECT_EQ(DomainOf("", hosts), "");
}

TEST(DomainFromHosts, FirstLineNamingTheHostGivesItsCanonicalDomain) {
  const char* hosts =
      "# 10.0.0.9 web01.commented.org web01\n"
      "127.0.0.1\tlocalhost\n"
      "10.0.0.7 web011.wrong.org web011   # a longer name is not a match\n"
      "10.0.0.8 mail.example.net\n"
      "10.0.0.1\tWEB01.Corp.Example.COM.  alias web01 # trailing comment\n"
      "10.0.0.2 web01.later.org web01\n";
  EXPECT_EQ(DomainFromHosts(hosts, "web01"), "Corp.Example.COM");
  EXPECT_EQ(DomainFromHosts(hosts, "alias"), "Corp.Example.COM");
  EXPECT_EQ(DomainFromHosts(hosts, "localhost"), "");  // canonical name without a domain
  EXPECT_EQ(DomainFromHosts(hosts, "db01"), "");
  EXPECT_EQ(DomainFromHosts(hosts, "10.0.0.8"), "");  // an address is not a name
}

TEST(DomainFromHosts, SurvivesDamagedText) {
  for (const char* text : {"", "\n", "#", "10.0.0.1", "10.0.0.1 \t \n", "   web01", "#web01 x.y"}) {
    EXPECT_EQ(DomainFromHosts(text, "web01"), "") << '"' << text << '"';
  }
  EXPECT_EQ(DomainFromHosts("10.0.0.1 a.b web01", ""), "");
  // A last line without its newline still counts; a name cut short no longer matches.
  EXPECT_EQ(DomainFromHosts("10.0.0.1 web01.ex.org web01", "web01"), "ex.org");
  EXPECT_EQ(DomainFromHosts("10.0.0.1 web01.ex.org web0", "web01"), "");
}

TEST(MakeOSInfo, MapsUnameFields) {
  UnameText uts{"6.1.0-18-amd64", "#1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1", "node7", "x86_64"};
  _OSINFO info = MakeOSInfo(uts, "192.168.1.7 node7.dc1.example.com node7\n");
  EXPECT_EQ(info.version, uts.release);
  EXPECT_EQ(info.build, uts.version);
  EXPECT_EQ(info.hostName, "node7");
  EXPECT_EQ(info.domain, "dc1.example.com");
  EXPECT_EQ(info.machine, "x86_64");
  EXPECT_EQ(info.type, "Linux");
}

TEST(OsRelease, QuotingAsAShellReadsIt) {
  struct Case {
    const char* text;
    const char* expected;
  } cases[] = {
      {"NAME=X\nPRETTY_NAME=\"Acme OS 12 (river)\"\nID=acme\n", "Acme OS 12 (river)"},
      {"PRETTY_NAME='Acme \"Single\" $HOME'", "Acme \"Single\" $HOME"},
      {"PRETTY_NAME=Acme", "Acme"},
      {"PRETTY_NAME=Acme\\ OS", "Acme OS"},
      {"PRETTY_NAME=\"say \\\"hi\\\" \\$5 \\\\ \\`x\\` \\n\"", "say \"hi\" $5 \\ `x` \\n"},
      {"PRETTY_NAME=\"Acme\"' OS'\" 2\"", "Acme OS 2"},
      {"  PRETTY_NAME=\"Indented\"  # note\r\n", "Indented"},
      {"PRETTY_NAME=\"First\"\nPRETTY_NAME=\"Second\"\n", "Second"},
      {"# PRETTY_NAME=\"Commented\"\nPRETTY_NAME=Real\n", "Real"},
  };
  for (const Case& c : cases) EXPECT_EQ(ParseOsReleasePrettyName(c.text), c.expected) << c.text;
}

TEST(OsRelease, MissingOrUnusableNameGivesTheDefault) {
  const char* cases[] = {
      "",
      "NAME=\"Acme\"\nID=acme\n",
      "PRETTY_NAME=\n",
      "PRETTY_NAME=\"\"",
      "PRETTY_NAME=\"Acme OS 12 (riv",  // truncated inside the quotes
      "PRETTY_NAME='Acme",              // unterminated single quote
      "PRETTY_NAME=Acme\\",             // escape with nothing to escape
      "PRETTY_NAME=Acme OS\n",          // a shell would run "OS"
      "PRETTY_NAME = \"Spaced\"\n",     // not an assignment
      "XPRETTY_NAME=\"Other key\"\n",
      "PRETTY_NAME",
  };
  for (const char* text : cases) EXPECT_EQ(ParseOsReleasePrettyName(text), "Linux") << text;
  // An unusable later line leaves the earlier good one standing.
  EXPECT_EQ(ParseOsReleasePrettyName("PRETTY_NAME=Good\nPRETTY_NAME=\"Bro"), "Good");
}

}  // namespace
