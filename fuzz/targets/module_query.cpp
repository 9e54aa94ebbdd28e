// Arbitrary queries through the module's ProcessXQuery, against one fixed simulated server:
// its SMBIOS image, its firmware variables, its BMC as the scripted driver double plays it
// (which must be the libquarnapi.so the loader finds: LD_LIBRARY_PATH names its directory),
// and a recorded OS. Each input is lines: up to kMaxQueries queries, run in order into one
// result map on a fresh module, so one input reaches the states that earlier queries leave
// behind; and lines "PATH<TAB>VALUE", which change the SMBIOS answer at PATH to VALUE, as a
// firmware with other strings and numbers would answer.
//
// The SMBIOS answers come from the image decoded once by the BIOS module's own decoding and
// answering, installed as its answer source: a memory inventory asks hundreds of SMBIOS
// questions, and reading the settings and the image's metadata again for each would take most
// of an execution.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "BIOSConfigModule.h"
#include "BMCConfigModule.h"
#include "FuzzInput.h"
#include "Logger.h"
#include "OSInfo.h"
#include "PlatformConfigModule.h"
#include "ResultStatus.h"
#include "TempDir.h"
#include "answer_tree.h"
#include "oslib/SourceRoot.h"
#include "smbios_answers.h"
#include "smbios_source.h"

namespace {

using namespace Module::BIOSConfig;
using Module::PlatformConfig::PlatformConfigModule;

constexpr size_t kMaxQueries = 4;
constexpr size_t kMaxLines = 64;
constexpr char kValueSeparator = '\t';

// The current input's changed SMBIOS answers, by path.
std::map<std::string, std::string> gChanged;

// Queries under LogicalProcessor[...] sample processor usage, which waits 200 ms per sample by
// design; they would only slow the run down, so the harness leaves them out. The routing
// takes the usage branch only for a generic path holding "LogicalProcessor[]", and the generic
// form only drops index text, so every such query holds this text.
constexpr const char* kUsageStep = "LogicalProcessor[";

const TestSupport::TempDir& ConfigDir() {
  static const TestSupport::TempDir dir;
  return dir;
}

void WriteSettings() {
  // The lock is polled every millisecond rather than every ten: no other process holds it.
  const std::string settings = std::string("[SMI]\nVariablesDir=") + FUZZ_EFI_DIR +
                               "\n[BMC]\nSimScript=" + FUZZ_DOUBLE_SCRIPT +
                               "\n[MSRObjectTimeouts]\nPollInterval=1\n";
  ConfigDir().Write("OrdixServMgmtSettings.ini", settings);
  setenv("ORDIX_CONFIG_DIR", ConfigDir().Path().c_str(), 1);
}

[[noreturn]] void Unusable(const std::string& why) {
  std::fprintf(stderr, "module_query: the fixed server is not usable: %s\n", why.c_str());
  std::exit(2);
}

void InstallSmbiosAnswers() {
  static const AnswerTree tree([] {
    const std::optional<SmbiosTables> tables = ReadImageTables(FUZZ_SMBIOS_IMAGE);
    if (!tables) Unusable("no SMBIOS image " FUZZ_SMBIOS_IMAGE);
    return DecodeTables(*tables).tree;
  }());
  BIOSConfigModule::InstallAnswerSource([](const std::string& query, ResultMap& answer) {
    CopyAnswer(tree, query, answer);
    for (auto& [path, node] : answer) {
      const auto changed = gChanged.find(path);
      if (changed != gChanged.end() && node.kind == XNODE_VALUE) node.list = {changed->second};
    }
    const auto asked = gChanged.find(query);
    if (asked != gChanged.end() && answer.count(query) == 0) {
      answer[query] = _XNode{XNODE_VALUE, {asked->second}, {}};
    }
  });
}

// A run against the wrong BMC or no image would fuzz error paths only; it stops at once.
void CheckSources() {
  ResultMap answer;
  try {
    Module::BMCConfig::BMCConfigModule().Process("/BMC/SENSOR[144]/VALUE", answer);
  } catch (const ResultStatus& status) {
    Unusable("the BMC double does not answer (" + status.GetDetail() +
             "); run with LD_LIBRARY_PATH=" FUZZ_DOUBLE_DIR);
  }
  BIOSConfigModule().ProcessXQuery("/BIOS/Vendor", answer);
  if (answer.size() != 2) Unusable("no sensor 144 or no BIOS vendor in the fixed sources");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  WriteSettings();
  Ordix::OS::SetSourceRoot(FUZZ_OS_ROOT);
  InstallSmbiosAnswers();
  // Records are formatted, as a log line would be, and dropped: every input logs errors.
  Logger::CreateInstance()->SetSink([](const LogRecord& record) { (void)FormatLogRecord(record); });
  CheckSources();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> queries;
  gChanged.clear();
  for (const std::string& line :
       Fuzz::Lines({reinterpret_cast<const char*>(data), size}, kMaxLines)) {
    const size_t tab = line.find(kValueSeparator);
    if (tab != std::string::npos) {
      gChanged[line.substr(0, tab)] = line.substr(tab + 1);
    } else if (queries.size() < kMaxQueries && line.find(kUsageStep) == std::string::npos) {
      queries.push_back(line);
    }
  }
  PlatformConfigModule module{std::string()};
  ResultMap result;
  for (const std::string& query : queries) {
    try {
      module.ProcessXQuery(query, result);
    } catch (const ResultStatus&) {
      // A thrown status is how the module reports some failures; anything else escapes.
    }
  }
  return 0;
}
