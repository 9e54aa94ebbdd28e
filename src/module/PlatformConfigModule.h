#pragma once
#include <cstddef>
#include <map>
#include <string>

#include "OOBConnect.h"
#include "PlatformConfigMgr.h"
#include "XNode.h"
#include "platformconfig_export.h"

namespace Module::PlatformConfig {

// The module as the framework sees it: a process-wide singleton that answers "/Platform"
// queries into the caller's ResultMap.
class PLATFORMCONFIG_EXPORT PlatformConfigModule : public PlatformConfigMgr {
 public:
  static PlatformConfigModule* CreateInstance();

  explicit PlatformConfigModule(std::string unused);
  ~PlatformConfigModule();

  // Nothing is gathered until the first query.
  void Initialize(std::string unused);

  // The working entry: answers query (and "query/@children") into result.
  void ProcessXQuery(std::string query, ResultMap& result);
  // Not supported: raises error 1047 as a thrown ResultStatus.
  void ProcessXQuery(std::string query, std::string output);
  // Out-of-band and by-value forms: accepted and ignored.
  void ProcessXQuery(std::string query, std::string output, SDK::OOBConnect connection);
  void ProcessXQuery(std::string query, ResultMap& result, SDK::OOBConnect connection);
  void ProcessXQuery(std::string query, std::map<std::string, std::string> result);
  void ProcessXQuery(std::string query, std::map<std::string, std::string> result,
                     SDK::OOBConnect connection);

  // Removes path and its whole subtree from result.
  void PruneResultMap(std::string path, ResultMap& result);

  // The base path of the last query whose first step was "Platform" (without "/@children"):
  // the subtree the destructor frees.
  const std::string& LastQueryBase() const { return lastQueryBase_; }

 private:
  static PlatformConfigModule* m_pPlatformConfig;

  std::map<std::string, std::string> properties_;
  std::string lastQueryBase_;
};

}  // namespace Module::PlatformConfig

// The module's one C entry: the address of PlatformConfigModule::CreateInstance.
extern "C" PLATFORMCONFIG_EXPORT void* GetPlatformConfigCreationInfo();

// What platform identification settled on, for hosts that report it (no query answers it): the
// family name and the board identifier, each written NUL-terminated into the caller's buffer and
// cut to fit. Read-only: it never identifies the platform itself, so calling it changes nothing.
// Returns 0 once identification has run (a text is empty where identification found nothing),
// 1 while no query has needed identification yet (both buffers emptied), -1 for a missing buffer.
extern "C" PLATFORMCONFIG_EXPORT int GetPlatformConfigIdentity(char* family, size_t familySize,
                                                               char* board, size_t boardSize);
