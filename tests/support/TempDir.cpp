#include "TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "Environment.h"

namespace fs = std::filesystem;

namespace TestSupport {

TempDir::TempDir() {
  std::random_device seed;
  std::mt19937_64 rng(seed());
  for (int attempt = 0; attempt < 100; ++attempt) {
    fs::path candidate = fs::temp_directory_path() / ("pc-test-" + std::to_string(rng()));
    std::error_code ec;
    if (fs::create_directory(candidate, ec)) {
      path_ = candidate.string();
      return;
    }
  }
  throw std::runtime_error("cannot create a temporary directory");
}

TempDir::~TempDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

std::string TempDir::Write(const std::string& relative, const std::string& content) const {
  fs::path full = fs::path(path_) / relative;
  fs::create_directories(full.parent_path());
  std::ofstream out(full, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out) throw std::runtime_error("cannot write " + full.string());
  return full.string();
}

std::string TempDir::MakeDir(const std::string& relative) const {
  fs::path full = fs::path(path_) / relative;
  fs::create_directories(full);
  return full.string();
}

ScopedEnv::ScopedEnv(std::string name, const std::string& value) : name_(std::move(name)) {
  if (const char* old = std::getenv(name_.c_str())) {
    hadValue_ = true;
    oldValue_ = old;
  }
  SetEnvironment(name_, value);
}

ScopedEnv::~ScopedEnv() {
  if (hadValue_) {
    SetEnvironment(name_, oldValue_);
  } else {
    UnsetEnvironment(name_);
  }
}

}  // namespace TestSupport
