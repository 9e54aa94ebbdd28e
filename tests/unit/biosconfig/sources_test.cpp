// The module as its callers use it: tables from the image the settings name or from a
// firmware directory, the process-wide cache, and queries against the answer tree.

#include <gtest/gtest.h>

#include <filesystem>

#include "BIOSConfigModule.h"
#include "ErrorCodes.h"
#include "LogCapture.h"
#include "Settings.h"
#include "SmbiosBuilder.h"
#include "TempDir.h"
#include "smbios_cache.h"

namespace {

using namespace SmbiosTest;
using Module::BIOSConfig::AnswerTreeFor;
using TestSupport::TempDir;
namespace Code = ErrorCode;

Bytes SmallTable(const std::string& vendor) {
  return Join({Record(0, 0, 0x18, {{4, 1}, {5, 2}}, {vendor, "1.0"}),
               Record(4, 0x40, 0x1A, {{4, 1}, {5, 3}, {6, 0xB3}}, {"CPU1"}), kEndOfTable});
}

std::string SmallImage(const std::string& vendor) {
  return Text(Image(EntryPoint3(0x100), SmallTable(vendor)));
}

ResultMap Ask(const std::string& query, ResultMap answer = {}) {
  Module::BIOSConfig::BIOSConfigModule().ProcessXQuery(query, answer);
  return answer;
}

Texts Keys(const ResultMap& answer) {
  Texts keys;
  for (const auto& entry : answer) keys.push_back(entry.first);
  return keys;
}

TEST(BIOSConfigModule, AnswersQueriesFromTheImageTheSettingsName) {
  const TempDir dir;
  const TestSupport::ScopedEnv env("ORDIX_CONFIG_DIR", dir.Path());
  const std::string image = dir.Write("tables.bin", SmallImage("Acme  "));
  dir.Write(Ordix::Settings::kFileName, "[SMBIOS]\nImage=" + image + "\n");
  EXPECT_EQ(Keys(Ask("/BIOS/Vendor")), Texts{"/BIOS/Vendor"});
  EXPECT_EQ(Ask("/BIOS/Vendor").at("/BIOS/Vendor").list, Texts{"Acme"});
  // An element brings everything below it; leaf values are not followed as paths.
  EXPECT_EQ(Keys(Ask("/BIOS")),
            (Texts{"/BIOS", "/BIOS/ReleaseDate", "/BIOS/Vendor", "/BIOS/Version"}));
  EXPECT_EQ(Ask("/SMBIOS").size(), 3U + 1 + 14 + 1);
  // Empty steps are dropped, as the framework splits paths.
  EXPECT_EQ(Ask("//SMBIOS//Type4[1]/ProcessorFamily/").at("/SMBIOS/Type4[1]/ProcessorFamily").list,
            Texts{"Xeon"});
  // @children gives the element alone, with its list; a leaf has none.
  const ResultMap arrays = Ask("/SMBIOS/MemoryArray/@children");
  ASSERT_EQ(Keys(arrays), Texts{"/SMBIOS/MemoryArray"});
  EXPECT_EQ(arrays.at("/SMBIOS/MemoryArray").list, Texts{"/SMBIOS/MemoryArray/TotalNoOfArray"});
  EXPECT_EQ(Keys(Ask("/BIOS/@children")), Texts{"/BIOS"});
  EXPECT_TRUE(Ask("/BIOS/Vendor/@children").empty());
  // What the tree does not hold adds nothing and keeps what the answer had.
  for (const char* query : {"/SMBIOS/Type4[2]", "/SMBIOS/Type4[0]/SocketDesignation",
                            "/SMBIOS/Type17", "/BIOS/Vendor/More", "/BIOS/@children/Vendor",
                            "/Platform/OS", "", "/", "@children", "/SMBIOS/MemoryArray[1]"}) {
    EXPECT_EQ(Keys(Ask(query, {{"/Other", _XNode{XNODE_VALUE, {"kept"}, {}}}})), Texts{"/Other"})
        << query;
  }
}

// A damaged table stays damaged for the life of the process: repairing the file changes
// nothing. A missing or unreadable file is looked for again.
TEST(AnswerTreeFor, DamagedImageErrorIsKeptUnreadableOrMissingIsNot) {
  const TempDir dir;
  std::string broken = SmallImage("Acme");
  broken[5] ^= 0x5A;  // the 3.x checksum
  const std::string damaged = dir.Write("damaged.bin", broken);
  for (int attempt = 0; attempt < 2; ++attempt) {
    ExpectStatus(Code::kSmbiosEntryPointMalformed, "checksum", "damaged", [&] {
      AnswerTreeFor({damaged, dir.Path()});
    });
    dir.Write("damaged.bin", SmallImage("Acme"));
  }
  const std::string unreadable = dir.MakeDir("unreadable.bin");
  ExpectStatus(Code::kSmbiosUnreadable, "not a regular file", "directory", [&] {
    AnswerTreeFor({unreadable, dir.Path()});
  });
  std::filesystem::remove(unreadable);
  dir.Write("unreadable.bin", SmallImage("Fixed"));
  EXPECT_EQ(AnswerTreeFor({unreadable, dir.Path()})->at("/BIOS/Vendor").list, Texts{"Fixed"});
}

// A table broken after its first structures is answered from those, and the damage is logged
// once, with where it is, however often the table is asked.
TEST(AnswerTreeFor, DamagedTableIsAnsweredUpToTheDamageWhichIsLoggedOnce) {
  const TempDir dir;
  const Bytes table = Join({Record(0, 0, 0x18, {{4, 1}}, {"Acme"}), {4, 0, 0x40, 0}, kEndOfTable});
  const std::string image = dir.Write("broken.bin", Text(Image(EntryPoint3(table.size()), table)));
  const TestSupport::LogCapture log;
  for (int query = 0; query < 2; ++query) {
    EXPECT_EQ(AnswerTreeFor({image, dir.Path()})->at("/BIOS/Vendor").list, Texts{"Acme"});
  }
  ASSERT_EQ(log.Records().size(), 1U);
  const std::string& text = log.Records()[0].text;
  EXPECT_EQ(text.rfind("2025: ", 0), 0U) << text;
  EXPECT_NE(text.find(image + ": structure 2 (type 4, handle 0x0040) at offset 0x1e has length 0"),
            std::string::npos)
      << text;
}

TEST(AnswerTreeFor, FirmwareDirectoryWhenNoImageAndNotFoundWhenNeither) {
  const TempDir firmware;
  const std::string dir = firmware.Path(), missingImage = dir + "/no-such.bin";
  ExpectStatus(Code::kSmbiosNotFound, "no firmware tables in " + dir, "nothing there", [&] {
    AnswerTreeFor({missingImage, dir});
  });
  ExpectStatus(Code::kSmbiosNotFound, "no image is configured", "no image configured", [&] {
    AnswerTreeFor({"", dir});
  });
  firmware.Write("smbios_entry_point", Text(EntryPoint3(0x100)));
  ExpectStatus(Code::kSmbiosUnreadable, dir + "/DMI: not found", "entry point without table", [&] {
    AnswerTreeFor({"", dir});
  });
  firmware.Write("DMI", Text(SmallTable("Firmware")));
  EXPECT_EQ(AnswerTreeFor({missingImage, dir})->at("/BIOS/Vendor").list, Texts{"Firmware"});
}

}  // namespace
