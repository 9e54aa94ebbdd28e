// A stand-in for the platform configuration module: the same entry points under the same
// names, answering a few made-up queries the way only particular machines make the real one
// answer (raised errors), and reporting the settings directory it was loaded with.

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "ResultStatus.h"
#include "XNode.h"
#include "fake_module_export.h"

namespace {

constexpr uint16_t kNetworkUnreadable = 2014;  // any framework code will do
constexpr const char* kConfigDirVariable = "ORDIX_CONFIG_DIR";

std::string EnvironmentAtLoad() {
  const char* value = std::getenv(kConfigDirVariable);
  return value != nullptr ? value : "(unset)";
}

// Read while the library is being loaded, so it shows what the host had set by then.
const std::string gConfigDirAtLoad = EnvironmentAtLoad();

}  // namespace

namespace Module::PlatformConfig {

class FAKE_MODULE_EXPORT PlatformConfigModule {
 public:
  static PlatformConfigModule* CreateInstance();
  ~PlatformConfigModule();
  void ProcessXQuery(std::string query, ResultMap& result);
  void ProcessXQuery(std::string query, std::string output);

 private:
  static PlatformConfigModule* instance_;
};

PlatformConfigModule* PlatformConfigModule::instance_ = nullptr;

PlatformConfigModule* PlatformConfigModule::CreateInstance() {
  if (instance_ == nullptr) instance_ = new PlatformConfigModule();
  return instance_;
}

PlatformConfigModule::~PlatformConfigModule() {
  if (instance_ == this) instance_ = nullptr;
}

void PlatformConfigModule::ProcessXQuery(std::string query, ResultMap& result) {
  if (query == "/Platform/ConfigDirAtLoad") {
    result[query] = {XNODE_VALUE, {gConfigDirAtLoad}, {}};
  } else if (query == "/Platform/Raise") {
    throw ResultStatus(kNetworkUnreadable, "The network interfaces could not be listed.",
                       "opendir failed", XCOMMAND_PROCESS_XQUERY);
  } else if (query == "/Platform/Throw") {
    throw std::runtime_error("fake failure");
  }
}

void PlatformConfigModule::ProcessXQuery(std::string query, std::string /*output*/) {
  throw ResultStatus(kNetworkUnreadable, "text form", query, XCOMMAND_PROCESS_XQUERY);
}

}  // namespace Module::PlatformConfig

extern "C" FAKE_MODULE_EXPORT void* GetPlatformConfigCreationInfo() {
  return reinterpret_cast<void*>(&Module::PlatformConfig::PlatformConfigModule::CreateInstance);
}
