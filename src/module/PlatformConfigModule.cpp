#include "PlatformConfigModule.h"

#include <utility>

#include "ErrorReport.h"
#include "QueryScope.h"
#include "XTokenizer.h"

namespace Module::PlatformConfig {

namespace {

constexpr const char* kChildrenStep = "@children";
constexpr const char* kPlatformStep = "Platform";
constexpr uint16_t kUnsupportedOverload = 1047;
constexpr ErrorSite kUnsupportedOverloadSite{
    ".\\PlatformConfigModule", "Module::PlatformConfig::PlatformConfigModule::ProcessXQuery", 78};

}  // namespace

PlatformConfigModule* PlatformConfigModule::m_pPlatformConfig = nullptr;

PlatformConfigModule* PlatformConfigModule::CreateInstance() {
  // Owned by the host from here on: the framework may delete it, the module never does.
  if (m_pPlatformConfig == nullptr) m_pPlatformConfig = new PlatformConfigModule(std::string());
  return m_pPlatformConfig;
}

PlatformConfigModule::PlatformConfigModule(std::string /*unused*/)
    : PlatformConfigMgr(std::string()) {}

PlatformConfigModule::~PlatformConfigModule() {
  DeleteResultMap(lastQueryBase_);
  // A later CreateInstance must not hand out the deleted object.
  if (m_pPlatformConfig == this) m_pPlatformConfig = nullptr;
}

void PlatformConfigModule::Initialize(std::string /*unused*/) {}

void PlatformConfigModule::ProcessXQuery(std::string query, ResultMap& result) {
  // Everything this query asks of the framework, the BMC included, belongs to it.
  const QueryScope scope;
  const std::vector<std::string> steps = XTokenizer(query, '/').TokenList();

  std::string base = query;
  if (!steps.empty() && steps.back() == kChildrenStep) {
    const auto slash = query.rfind('/');
    base = slash == std::string::npos ? std::string() : query.substr(0, slash);
  }

  if (!steps.empty() && steps.front() == kPlatformStep) {
    lastQueryBase_ = base;
    ResolveQuery(base, result);
  }

  if (base != query) {
    // The "@children" form: the base node alone, with its child paths but none of the
    // children, whatever the map held under them before.
    _XNode node = result[base];
    PruneResultMap(base, result);
    result[base] = std::move(node);
  }
}

void PlatformConfigModule::ProcessXQuery(std::string query, std::string /*output*/) {
  throw ReportError(kUnsupportedOverload, kUnsupportedOverloadSite, std::move(query),
                    XCOMMAND_PROCESS_XQUERY);
}

void PlatformConfigModule::ProcessXQuery(std::string, std::string, SDK::OOBConnect) {}

void PlatformConfigModule::ProcessXQuery(std::string, ResultMap&, SDK::OOBConnect) {}

void PlatformConfigModule::ProcessXQuery(std::string, std::map<std::string, std::string>) {}

void PlatformConfigModule::ProcessXQuery(std::string, std::map<std::string, std::string>,
                                         SDK::OOBConnect) {}

void PlatformConfigModule::PruneResultMap(std::string path, ResultMap& result) {
  auto it = result.find(path);
  if (it == result.end()) return;
  // The key goes before its children are visited, so a list that leads back to it ends here.
  const std::vector<std::string> children = std::move(it->second.list);
  result.erase(it);
  for (const std::string& child : children) {
    PruneResultMap(child, result);
    result.erase(child);
  }
}

}  // namespace Module::PlatformConfig
