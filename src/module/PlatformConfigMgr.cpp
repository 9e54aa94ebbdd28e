#include "PlatformConfigMgr.h"

#include <new>

#include "ErrorReport.h"
#include "ModuleErrors.h"
#include "Paths.h"
#include "QueryRoute.h"
#include "memory/MemoryImpl.h"
#include "processor/ProcessorImpl.h"

namespace Module::PlatformConfig {

namespace {

constexpr const char* kSource = ".\\PlatformConfigMgr";
constexpr const char* kInitializeFunction = "Module::PlatformConfig::PlatformConfigMgr::Initialize";
constexpr ErrorSite kMemoryCreationSite{kSource, kInitializeFunction, 66};
constexpr ErrorSite kProcessorCreationSite{kSource, kInitializeFunction, 76};

// A query names a branch when it is the whole tree or lies in (or contains) the branch.
bool Names(const std::string& path, const char* branch) {
  return path == Paths::kPlatform || path.find(branch) != std::string::npos;
}

// Makes a component; a failed allocation is reported and leaves the component out.
template <typename Component>
std::unique_ptr<Component> CreateComponent(const ErrorSite& site) {
  try {
    return std::make_unique<Component>();
  } catch (const std::bad_alloc&) {
    ReportError(ModuleError::kComponentCreationFailed, site);
    return nullptr;
  }
}

}  // namespace

PlatformConfigMgr::PlatformConfigMgr(std::string /*unused*/) {}

PlatformConfigMgr::~PlatformConfigMgr() = default;

void PlatformConfigMgr::Initialize(std::string path) {
  // Each naming query replaces the component; the one it replaces goes with it, since the
  // tree it built is rebuilt by the new one when asked.
  if (Names(path, Paths::kMemoryTopology)) memory_ = CreateComponent<Memory>(kMemoryCreationSite);
  if (Names(path, Paths::kProcessorInfo)) {
    processor_ = CreateComponent<Processor>(kProcessorCreationSite);
  }
  if (Names(path, Paths::kOS)) osEnabled_ = 1;
}

void PlatformConfigMgr::InitializeFunctionality() {
  if (processor_) processor_->Initialize(nodeTree_);
  if (memory_) memory_->Initialize(nodeTree_);
}

void PlatformConfigMgr::ResolveQuery(std::string query, ResultMap& result) {
  Initialize(query);
  if (!memory_ && !processor_ && osEnabled_ == 0) return;

  const Route route = SelectRoute(ToGenericPath(query));
  // A fresh empty element under the route's key: the builders re-link that subtree's
  // children into it, and the element it replaces is released.
  auto element = std::make_unique<_XNode>();
  element->kind = XNODE_ELEMENT;
  nodeTree_[route.resetKey] = std::move(element);

  if (RunRefresh(route.refresh, query)) Search(query, result);
}

bool PlatformConfigMgr::RunRefresh(Refresh refresh, const std::string& query) {
  switch (refresh) {
    case Refresh::MemoryErrors:
      if (memory_) memory_->GetMemoryErrors(nodeTree_);
      return true;
    case Refresh::MemoryState: {
      const auto slash = query.rfind('/');
      if (slash == std::string::npos) return false;
      InitializeFunctionality();
      if (memory_) memory_->GetMemoryState(query.substr(0, slash), nodeTree_);
      return true;
    }
    case Refresh::ProcessorUsage:
      if (query.rfind('/') == std::string::npos) return false;
      InitializeFunctionality();
      if (processor_) processor_->ProcessUsageQuery(query, nodeTree_);
      return true;
    case Refresh::OSMemory:
      InitializeOSMemoryData();
      return true;
    case Refresh::OSNetwork:
      InitializeOSNetworkData();
      return true;
    case Refresh::OSDrives:
      InitializeOSDriveData();
      return true;
    case Refresh::OSInfo:
      InitializeOSInfoData();
      return true;
    case Refresh::Inventory:
      InitializeFunctionality();
      return true;
    case Refresh::OSAll:
      InitializeOSData();
      return true;
  }
  return false;
}

void PlatformConfigMgr::Search(const std::string& path, ResultMap& result) {
  std::unordered_set<const std::string*> visited;
  SearchFrom(path, result, visited);
}

void PlatformConfigMgr::SearchFrom(const std::string& path, ResultMap& result,
                                   std::unordered_set<const std::string*>& visited) {
  auto it = nodeTree_.find(path);
  if (it == nodeTree_.end() || !it->second) return;
  // Every string of a node's list is looked up as a path, leaf values included, so values
  // taken from the firmware can name any node: one that names an ancestor (a drive mounted at
  // "/Platform/OS", say) would loop forever, and slots whose two values each name the next
  // slot would be reached by 2^n roads. Each path is answered once (known by the address of
  // the tree's own key, which stays put while the tree is searched).
  if (!visited.insert(&it->first).second) return;

  const _XNode& node = *it->second;
  for (const std::string& child : node.list) SearchFrom(child, result, visited);

  _XNode& answer = result[path];
  answer.kind = node.kind;
  answer.list = node.list;
  answer.attributes.clear();
}

void PlatformConfigMgr::DeleteResultMap(std::string path) {
  auto it = nodeTree_.find(path);
  if (it == nodeTree_.end() || !it->second) return;
  // Detach first: the node is gone before its children are visited, so no path can lead
  // back to it.
  std::unique_ptr<_XNode> node = std::move(it->second);
  nodeTree_.erase(it);
  if (node->kind != XNODE_VALUE) {
    for (const std::string& child : node->list) DeleteResultMap(child);
  }
}

}  // namespace Module::PlatformConfig
