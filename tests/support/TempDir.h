#pragma once
#include <string>

namespace TestSupport {

// A fresh directory under the system's temporary directory, removed with everything in it
// when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path_; }

  // Writes content to Path()/relative, creating the directories on the way; returns the full path.
  std::string Write(const std::string& relative, const std::string& content) const;

  // Creates the directory Path()/relative (and its parents); returns the full path.
  std::string MakeDir(const std::string& relative) const;

 private:
  std::string path_;
};

// Sets an environment variable for the life of the object, then restores the old value.
class ScopedEnv {
 public:
  ScopedEnv(std::string name, const std::string& value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name_;
  bool hadValue_ = false;
  std::string oldValue_;
};

}  // namespace TestSupport
