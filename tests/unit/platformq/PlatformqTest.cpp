#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "Answered.h"
#include "JsonPrinter.h"
#include "Options.h"
#include "ResultStatus.h"
#include "Rounds.h"
#include "TreePrinter.h"

namespace Platformq {
namespace {

using Texts = std::vector<std::string>;

const auto Leaf = [](Texts values) { return _XNode{XNODE_VALUE, std::move(values), {}}; };
const auto Element = [](Texts children) { return _XNode{XNODE_ELEMENT, std::move(children), {}}; };

TEST(ParseCommandLineTest, UsageErrorsExit64WithOneLinePointingAtHelp) {
  auto parse = [](const std::string& blankSeparatedArgs, std::ostream& out, std::ostream& err) {
    std::istringstream words("platformq " + blankSeparatedArgs);
    const Texts args{std::istream_iterator<std::string>(words), {}};
    std::vector<const char*> argv;
    for (const std::string& arg : args) argv.push_back(arg.c_str());
    return ParseCommandLine(int(argv.size()), argv.data(), out, err);
  };
  for (const char* line : {"", "--format xml /Q", "--bogus /Q", "--repeat 0 /Q", "--repeat -2 /Q",
                           "--repeat two /Q", "--repeat 99999999999999999999 /Q",
                           "--interval -5 /Q", "/Q --module", "--config-dir /nonexistent/dir /Q"}) {
    std::ostringstream out, err;
    const CommandLine parsed = parse(line, out, err);
    EXPECT_FALSE(parsed.options) << line;
    EXPECT_EQ(parsed.exitStatus, 64) << line;
    EXPECT_EQ(out.str(), "") << line;
    EXPECT_THAT(err.str(), ::testing::MatchesRegex("platformq: [^\n]*--help[^\n]*\n")) << line;
  }
  std::ostringstream out, err;
  const CommandLine good = parse("--format json --repeat 3 --interval 0 /Q", out, err);
  ASSERT_TRUE(good.options) << err.str();
  EXPECT_EQ(good.options->repeat, 3u);
  EXPECT_EQ(good.options->format, OutputFormat::Json);
}

TEST(FormatTreeTest, NestsInListOrderNamesAbsentChildrenAndEndsCycles) {
  const std::vector<std::pair<ResultMap, std::string>> cases{
      // Children follow the element's list; those the map lacks ("@children") print by name.
      {{{"/OS", Element({"/OS/I", "/OS/NIC[@n='a/b']"})},
        {"/OS/I", Element({"/OS/I/V", "/OS/I/T"})},
        {"/OS/I/T", Leaf({"Linux"})},
        {"/OS/I/V", Leaf({"6.1"})}},
       "/OS\n  I\n    V = 6.1\n    T = Linux\n  NIC[@n='a/b']\n"},
      // Unrelated answers are roots in map order, under their full path, with every value.
      {{{"/BMC/V", Leaf({"0 c0", "c0", "0"})}, {"/P/None", Leaf({})}, {"/P/U", Leaf({"MB"})}},
       "/BMC/V = 0 c0; c0; 0\n/P/None =\n/P/U = MB\n"},
      {{{"/A", Element({"/A/Link"})}, {"/A/Link", Leaf({"/A"})}}, "/A\n  Link = /A\n"},
      // A node met again (cycle, self-listing, listed twice) is named, not expanded.
      {{{"/A", Element({"/A", "/A/B"})}, {"/A/B", Leaf({"1"})}}, "/A\n  A\n  B = 1\n"},
      {{{"/R", Element({"/R/A"})}, {"/R/A", Element({"/R/A/B"})}, {"/R/A/B", Element({"/R/A"})}},
       "/R\n  A\n    B\n      A\n"},
      {{{"/P", Element({"/P/C", "/P/C"})}, {"/P/C", Element({"/P/C/L"})}, {"/P/C/L", Leaf({"v"})}},
       "/P\n  C\n    L = v\n  C\n"},
      // A cycle no root leads into is still printed, from its first key.
      {{{"/X", Element({"/Y"})}, {"/Y", Element({"/X", "/Y/V"})}, {"/Y/V", Leaf({"1"})}},
       "/X\n  Y\n    X\n    V = 1\n"},
  };
  for (const auto& [result, expected] : cases) EXPECT_EQ(FormatTree(result), expected);
}

TEST(FormatJsonTest, ObjectKeyedByPathInMapOrderWithKindAndListOnly) {
  using Json = nlohmann::ordered_json;
  const ResultMap result{{"/P/NIC[10]", Element({"/P/NIC[10]/Name"})},
                         {"/P/NIC[2]", Element({})},
                         {"/BMC/V", {XNODE_VALUE, {"0 c0", "say \"hi\"\n\t"}, {{"unit", "raw"}}}},
                         {"/H\xc3", Leaf({"host\xff"})}};
  const std::string compact = FormatJson(result, JsonLayout::Compact);
  EXPECT_EQ(compact.find('\n'), std::string::npos);
  // Attributes are left out; bytes that are not UTF-8 become U+FFFD rather than an error.
  const Json expected = Json::parse(R"({"/BMC/V": {"kind": 0, "list": ["0 c0", "say \"hi\"\n\t"]},
      "/H\ufffd": {"kind": 0, "list": ["host\ufffd"]},
      "/P/NIC[10]": {"kind": 1, "list": ["/P/NIC[10]/Name"]}, "/P/NIC[2]": {"kind": 1, "list": []}})");
  EXPECT_EQ(Json::parse(compact), expected) << compact;  // ordered: key order counts
  EXPECT_EQ(Json::parse(FormatJson(result, JsonLayout::Pretty)), expected);
  EXPECT_EQ(FormatJson({}, JsonLayout::Compact), "{}");
}

// "/P/Domain" is the answer of a machine without a domain.
TEST(IsAnsweredTest, AnElementOrALeafWithAValueAtTheBasePath) {
  const ResultMap result{{"/P/Info", Element({"/P/Info/Version"})},
                         {"/P/Drives", Element({})},
                         {"/P/Domain", Leaf({""})},
                         {"/P/None", Leaf({})},
                         {"/Q/A/B", Leaf({"1"})},
                         {"/S/RECORD[00001]", Leaf({"2 0"})},
                         {"/S/RECORDS", Leaf({"x"})}};
  for (const char* query : {"/P/Info", "/P/Info/@children", "/P/Drives", "/P/Domain", "/S/RECORD"})
    EXPECT_TRUE(IsAnswered(query, result)) << query;
  // An empty leaf, entries only below the base path, and look-alikes of "/@children" are not.
  for (const char* query :
       {"/P/None", "/P/None/@children", "/Q/A", "/P/Info/@childrenX", "/P/@children/Info",
        "/P/Info@children", "/@children", "", "/S/RECORDS[", "/S/REC"})
    EXPECT_FALSE(IsAnswered(query, result)) << query;
}

// A module double for "P": "/P/Ok..." answers; "/P/Flaky" is unanswered in round 1, raises a
// status in round 2 and answers from round 3; "/P/Empty" leaves the empty leaf of an unanswered
// "@children" query; "/P/Err" raises a status, "/P/Crash" a plain exception.
struct RoundsTest : ::testing::Test {
  RoundsTest() {
    router.Add("P", [this](const std::string& query, ResultMap& result) {
      sizesSeen.push_back(result.size());
      if (query == "/P/Err" || (query == "/P/Flaky" && round == 2))
        throw ResultStatus(1047, "No.", query, XCOMMAND_PROCESS_XQUERY);
      if (query == "/P/Crash") throw std::runtime_error("boom");
      if (query == "/P/Empty") result[query] = _XNode{};
      if (query.rfind("/P/Ok", 0) == 0 || (query == "/P/Flaky" && round > 2))
        result[query] = Leaf({"yes"});
    });
  }
  ModuleHost::QueryRouter router;
  std::ostringstream out, err;
  std::vector<size_t> sizesSeen;
  std::vector<unsigned> sleeps;
  int round = 1;
};

TEST_F(RoundsTest, ARoundIsTheWorstOfItsQueriesWhichShareAMapAndAllRun) {
  const std::string no = "platformq: no answer to ";
  for (const auto& [queries, status, sizes, errText] :
       std::vector<std::tuple<Texts, int, std::vector<size_t>, std::string>>{
           {{"/P/Ok1", "/P/Ok2"}, 0, {0, 1}, ""},
           {{"/P/Ok", "/P/No"}, 1, {0, 1}, no + "\"/P/No\"\n"},
           {{"/P/Empty"}, 1, {0}, no + "\"/P/Empty\"\n"},
           {{"/BIOS/Foo", "/P/Ok"}, 1, {0}, "platformq: no module answers \"/BIOS/Foo\"\n"},
           {{"/P/Err", "/P/No"}, 2, {0, 0}, "error 1047: No. (/P/Err)\n" + no + "\"/P/No\"\n"},
           {{"/P/Crash"}, 2, {0}, "error: boom\n"}}) {
    ResultMap result;
    err.str("");
    sizesSeen.clear();
    EXPECT_EQ(RunRound(queries, router, result, err), status) << errText;
    EXPECT_EQ(err.str(), errText);
    EXPECT_EQ(sizesSeen, sizes) << errText;
  }
}

TEST_F(RoundsTest, EachRoundStartsEmptyAfterAWaitAndTheWorstRoundDecides) {
  auto rounds = [this](unsigned repeat, Texts queries) {
    return RunRounds(Options{"", "", OutputFormat::Tree, repeat, 40, std::move(queries)}, router,
                     out, err, [this](unsigned ms) { sleeps.push_back(ms), ++round; });
  };
  EXPECT_EQ(rounds(1, {"/P/Ok"}), 0);
  EXPECT_EQ(out.str(), "/P/Ok = yes\n");  // a single round has neither header nor wait
  out.str("");
  // Statuses 1, 2, 0; the failed round still prints what it has.
  EXPECT_EQ(rounds(3, {"/P/Ok", "/P/Flaky"}), 2);
  EXPECT_EQ(sleeps, (std::vector<unsigned>{40, 40}));
  EXPECT_EQ(sizesSeen, (std::vector<size_t>{0, 0, 1, 0, 1, 0, 1}));
  EXPECT_EQ(out.str(),
            "# round 1 of 3\n/P/Ok = yes\n# round 2 of 3\n/P/Ok = yes\n# round 3 of 3\n"
            "/P/Flaky = yes\n/P/Ok = yes\n");
}

}  // namespace
}  // namespace Platformq
