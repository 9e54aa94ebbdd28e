// The module as its callers use it: tables from an image named in the settings or from a
// firmware directory, the process-wide cache, and the answering of queries.

#include <gtest/gtest.h>

#include <filesystem>

#include "BIOSConfigModule.h"
#include "ErrorCodes.h"
#include "ExpectStatus.h"
#include "Settings.h"
#include "SmbiosBuilder.h"
#include "TempDir.h"
#include "answer_tree.h"
#include "smbios_cache.h"
#include "smbios_source.h"

namespace {

using namespace SmbiosTest;
using Module::BIOSConfig::BIOSConfigModule;
using TestSupport::ScopedEnv;
using TestSupport::TempDir;
using Texts = std::vector<std::string>;
namespace Code = ErrorCode;

Bytes SmallTable(const std::string& vendor) {
  return Join({Record(0, 0, 0x18).U8(4, 1).U8(5, 2).Strings({vendor, "1.0"}),
               Record(4, 0x40, 0x1A).U8(4, 1).U8(5, 3).U8(6, 0xB3).Strings({"CPU1"}),
               EndOfTable()});
}

Bytes SmallImage(const std::string& vendor) {
  const Bytes table = SmallTable(vendor);
  return Image(EntryPoint3(table.size()), table);
}

// A settings directory whose [SMBIOS] Image names image (written there unless empty).
class ImageSettings {
 public:
  explicit ImageSettings(const Bytes& image)
      : imagePath_(dir_.Path() + "/tables.bin"), env_("ORDIX_CONFIG_DIR", dir_.Path()) {
    dir_.Write(Ordix::Settings::kFileName, "[SMBIOS]\nImage=" + imagePath_ + "\n");
    if (!image.empty()) dir_.Write("tables.bin", Text(image));
  }
  const std::string& ImagePath() const { return imagePath_; }
  const TempDir& Dir() const { return dir_; }

 private:
  TempDir dir_;
  std::string imagePath_;
  ScopedEnv env_;
};

ResultMap Ask(const std::string& query) {
  ResultMap answer;
  BIOSConfigModule().ProcessXQuery(query, answer);
  return answer;
}

Texts Keys(const ResultMap& answer) {
  Texts keys;
  for (const auto& entry : answer) keys.push_back(entry.first);
  return keys;
}

TEST(BIOSConfigModule, AnswersFromTheConfiguredImage) {
  const ImageSettings settings(SmallImage("Acme  "));
  const ResultMap vendor = Ask("/BIOS/Vendor");
  ASSERT_EQ(vendor.size(), 1U);
  EXPECT_EQ(vendor.at("/BIOS/Vendor").list, Texts{"Acme"});
  // An element brings everything below it; leaf values are not followed as paths.
  EXPECT_EQ(Keys(Ask("/BIOS")),
            (Texts{"/BIOS", "/BIOS/ReleaseDate", "/BIOS/Vendor", "/BIOS/Version"}));
  EXPECT_EQ(Ask("/SMBIOS").size(), 3U + 1 + 14 + 1);
  // Empty steps are dropped, as the framework splits paths.
  EXPECT_EQ(Ask("//SMBIOS//Type4[1]/ProcessorFamily/").at("/SMBIOS/Type4[1]/ProcessorFamily").list,
            Texts{"Xeon"});
}

TEST(BIOSConfigModule, ChildrenStepGivesTheElementAlone) {
  const ImageSettings settings(SmallImage("Acme"));
  const ResultMap answer = Ask("/SMBIOS/MemoryArray/@children");
  ASSERT_EQ(Keys(answer), Texts{"/SMBIOS/MemoryArray"});
  EXPECT_EQ(answer.at("/SMBIOS/MemoryArray").list, Texts{"/SMBIOS/MemoryArray/TotalNoOfArray"});
  EXPECT_EQ(Keys(Ask("/BIOS/@children")), Texts{"/BIOS"});
  EXPECT_TRUE(Ask("/BIOS/Vendor/@children").empty());  // a leaf has no child list
}

TEST(BIOSConfigModule, UnanswerablePathsAddNothingAndKeepWhatIsThere) {
  const ImageSettings settings(SmallImage("Acme"));
  for (const char* query : {"/SMBIOS/Type4[2]", "/SMBIOS/Type4[0]/SocketDesignation",
                            "/SMBIOS/Type17", "/BIOS/Vendor/More", "/BIOS/@children/Vendor",
                            "/Platform/OS", "", "/", "@children", "/SMBIOS/MemoryArray[1]"}) {
    ResultMap answer{{"/Other", _XNode{XNODE_VALUE, {"kept"}, {}}}};
    BIOSConfigModule().ProcessXQuery(query, answer);
    EXPECT_EQ(Keys(answer), Texts{"/Other"}) << query;
  }
}

// A damaged table stays damaged for the life of the process: repairing the file changes
// nothing. A missing or unreadable file is looked for again.
TEST(BIOSConfigModule, CorruptImageErrorIsKeptMissingOrUnreadableIsNot) {
  Bytes broken = SmallImage("Acme");
  broken[5] ^= 0xFF;  // the 3.x checksum
  const ImageSettings corrupt(broken);
  for (int attempt = 0; attempt < 2; ++attempt) {
    ExpectStatus([] { Ask("/BIOS"); }, Code::kSmbiosEntryPointMalformed, "checksum", "corrupt");
    corrupt.Dir().Write("tables.bin", Text(SmallImage("Acme")));
  }

  const ImageSettings unreadable(Bytes{});
  std::filesystem::create_directory(unreadable.ImagePath());
  ExpectStatus([] { Ask("/BIOS"); }, Code::kSmbiosUnreadable, "not a regular file", "directory");
  std::filesystem::remove(unreadable.ImagePath());
  unreadable.Dir().Write("tables.bin", Text(SmallImage("Fixed")));
  EXPECT_EQ(Ask("/BIOS/Vendor").at("/BIOS/Vendor").list, Texts{"Fixed"});
}

TEST(AnswerTreeFor, FirmwareDirectoryWhenNoImageAndNotFoundWhenNeither) {
  using Module::BIOSConfig::AnswerTreeFor;
  const TempDir firmware;
  const std::string missingImage = firmware.Path() + "/no-such.bin";
  ExpectStatus(
      [&] {
        AnswerTreeFor({missingImage, firmware.Path()});
      },
      Code::kSmbiosNotFound, "no firmware tables in " + firmware.Path(), "nothing there");
  ExpectStatus(
      [&] {
        AnswerTreeFor({"", firmware.Path()});
      },
      Code::kSmbiosNotFound, "no image is configured", "no image configured");

  const Bytes table = SmallTable("Firmware");
  firmware.Write("smbios_entry_point", Text(EntryPoint3(table.size())));
  ExpectStatus(
      [&] {
        AnswerTreeFor({"", firmware.Path()});
      },
      Code::kSmbiosUnreadable, firmware.Path() + "/DMI: not found", "entry point without table");
  firmware.Write("DMI", Text(table));
  const auto tree = AnswerTreeFor({missingImage, firmware.Path()});
  EXPECT_EQ(tree->at("/BIOS/Vendor").list, Texts{"Firmware"});
}

}  // namespace
