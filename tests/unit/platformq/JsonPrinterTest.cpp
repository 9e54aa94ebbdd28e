#include "JsonPrinter.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace Platformq {
namespace {

using Json = nlohmann::ordered_json;

ResultMap Sample() {
  return {{"/Platform/OS/Info", {XNODE_ELEMENT, {"/Platform/OS/Info/Version"}, {}}},
          {"/Platform/OS/Info/Version", {XNODE_VALUE, {"6.1.0"}, {}}},
          {"/Platform/OS/NetworkInfo/NIC[10]", {XNODE_ELEMENT, {}, {}}},
          {"/Platform/OS/NetworkInfo/NIC[2]", {XNODE_ELEMENT, {}, {}}},
          {"/BMC/SENSOR[1]/VALUE", {XNODE_VALUE, {"0 c0", "c0"}, {{"unit", "raw"}}}}};
}

TEST(FormatJsonTest, EachEntryBecomesKindAndListKeyedByPathInMapOrder) {
  const ResultMap result = Sample();
  const Json document = Json::parse(FormatJson(result, JsonLayout::Pretty));
  ASSERT_TRUE(document.is_object());
  ASSERT_EQ(document.size(), result.size());
  auto entry = result.begin();
  for (const auto& [key, value] : document.items()) {
    EXPECT_EQ(key, entry->first);
    // Exactly the two fields, kind first; attributes are not part of the output.
    ASSERT_EQ(value.size(), 2u) << key;
    EXPECT_EQ(value.begin().key(), "kind");
    EXPECT_EQ(value["kind"], entry->second.kind) << key;
    EXPECT_EQ(value["list"].get<std::vector<std::string>>(), entry->second.list) << key;
    ++entry;
  }
}

TEST(FormatJsonTest, CompactIsOneLineWithTheSameContentAsPretty) {
  const std::string compact = FormatJson(Sample(), JsonLayout::Compact);
  const std::string pretty = FormatJson(Sample(), JsonLayout::Pretty);
  EXPECT_EQ(compact.find('\n'), std::string::npos);
  EXPECT_NE(pretty.find('\n'), std::string::npos);
  EXPECT_EQ(Json::parse(compact), Json::parse(pretty));
}

TEST(FormatJsonTest, AnEmptyMapIsAnEmptyObject) {
  EXPECT_EQ(FormatJson({}, JsonLayout::Compact), "{}");
  EXPECT_EQ(Json::parse(FormatJson({}, JsonLayout::Pretty)), Json::object());
}

TEST(FormatJsonTest, BytesThatAreNotUtf8AreReplacedNotFatal) {
  const ResultMap result{{"/Platform/OS/Info/HostName", {XNODE_VALUE, {"host\xff\xfe"}, {}}},
                         {"/Platform/OS/NetworkInfo/NIC[0]/Name\xc3", {XNODE_VALUE, {"e"}, {}}}};
  std::string text;
  ASSERT_NO_THROW(text = FormatJson(result, JsonLayout::Compact));
  const Json document = Json::parse(text);
  EXPECT_EQ(document["/Platform/OS/Info/HostName"]["list"][0], "host\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(document.size(), 2u);
}

TEST(FormatJsonTest, ControlCharactersAndQuotesAreEscaped) {
  const ResultMap result{{"/A", {XNODE_VALUE, {"say \"hi\"\n\ttab"}, {}}}};
  const std::string text = FormatJson(result, JsonLayout::Compact);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  EXPECT_EQ(Json::parse(text)["/A"]["list"][0], "say \"hi\"\n\ttab");
}

}  // namespace
}  // namespace Platformq
