#pragma once
#include <memory>
#include <string>
#include <unordered_set>

#include "XNode.h"
#include "common.h"
#include "platformconfig_export.h"

namespace Module::PlatformConfig {

class Memory;
class Processor;
enum class Refresh;

// Owns the inventory tree and the components that fill it, and answers one query at a time:
// it refreshes the subtree the query names, then copies the answer out of the tree.
class PLATFORMCONFIG_EXPORT PlatformConfigMgr {
 public:
  explicit PlatformConfigMgr(std::string unused);
  ~PlatformConfigMgr();
  // The tree owns its nodes and the manager its components: copies would share them.
  PlatformConfigMgr(const PlatformConfigMgr&) = delete;
  PlatformConfigMgr& operator=(const PlatformConfigMgr&) = delete;

  // Decides from the query path which components this and later queries need.
  void Initialize(std::string path);

  // Refreshes what query names and adds its answer (the node and all below it) to result.
  void ResolveQuery(std::string query, ResultMap& result);

  // Frees the node at path and everything below it.
  void DeleteResultMap(std::string path);

  // What the manager holds, for hosts and tests that need to see it.
  bool HasMemoryComponent() const { return memory_ != nullptr; }
  bool HasProcessorComponent() const { return processor_ != nullptr; }
  bool IsOSEnabled() const { return osEnabled_ != 0; }
  const NodeTree& Tree() const { return nodeTree_; }

 private:
  void InitializeFunctionality();
  void Search(const std::string& path, ResultMap& result);
  void SearchFrom(const std::string& path, ResultMap& result,
                  std::unordered_set<const std::string*>& visited);
  bool RunRefresh(Refresh refresh, const std::string& query);

  // The OS builders: each asks the OS information library once and writes its subtree.
  void InitializeOSData();
  void InitializeOSMemoryData();
  void InitializeOSInfoData();
  void InitializeOSNetworkData();
  void InitializeOSDriveData();

  NodeTree nodeTree_;
  std::unique_ptr<Memory> memory_;
  int osEnabled_ = 0;
  std::unique_ptr<Processor> processor_;
};

}  // namespace Module::PlatformConfig
