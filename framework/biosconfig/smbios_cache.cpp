#include "smbios_cache.h"

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>

#include "ErrorCodes.h"
#include "ErrorMgr.h"
#include "Logger.h"
#include "ResultStatus.h"
#include "Settings.h"
#include "smbios_answers.h"
#include "smbios_error.h"
#include "smbios_source.h"

namespace Module::BIOSConfig {

namespace {

struct CacheEntry {
  std::shared_ptr<const ResultMap> tree;
  std::optional<ResultStatus> error;
};

// Namespace scope rather than function-local: every access goes through the mutex, which is
// held through a first decoding so that concurrent first queries decode once.
std::mutex gCacheMutex;
std::map<std::string, CacheEntry> gCache;

bool Cacheable(const ResultStatus& status) {
  return status.GetCode() != ErrorCode::kSmbiosNotFound &&
         status.GetCode() != ErrorCode::kSmbiosUnreadable;
}

bool ImageExists(const std::string& image) {
  std::error_code ec;
  return !image.empty() && std::filesystem::exists(image, ec);
}

std::string NotFoundDetail(const SourcePaths& paths) {
  const std::string image = paths.image.empty() ? "no image is configured ([SMBIOS] Image)"
                                                : "the image " + paths.image + " does not exist";
  // A configured image may be what the settings file that cannot be read names.
  const std::string settings = Ordix::Settings::Problem();
  return image + " and there are no firmware tables in " + paths.firmwareLocation +
         (settings.empty() ? "" : "; " + settings);
}

constexpr const char* kLogSource = "biosconfig";
constexpr const char* kLogFunction = "Module::BIOSConfig::AnswerTreeFor";
constexpr int kLogLevelError = 2;
constexpr int kLogLineDamage = 60;

// Once per source and process: the decoded table is kept, so this runs once.
void LogDamage(const std::string& source, const std::string& damage) {
  const uint16_t code = ErrorCode::kSmbiosTableDamaged;
  std::string text;
  Logger* logger = Logger::CreateInstance();
  logger->CreateMessage(text,
                        ErrorMgr::GetInstance()->Get(code) + " (" + source + ": " + damage + ")");
  logger->Log(kLogLevelError, kLogSource, kLogFunction, kLogLineDamage, "%d: %s", code,
              text.c_str());
}

ResultMap ReadAndDecode(const SourcePaths& paths, bool fromImage) {
  std::optional<SmbiosTables> tables =
      fromImage ? ReadImageTables(paths.image) : ReadFirmwareTables(paths.firmwareLocation);
  if (!tables) ThrowSmbios(ErrorCode::kSmbiosNotFound, NotFoundDetail(paths));
  DecodedTables decoded = DecodeTables(*tables);
  if (!decoded.damage.empty()) {
    LogDamage(fromImage ? "image " + paths.image : paths.firmwareLocation, decoded.damage);
  }
  return std::move(decoded.tree);
}

}  // namespace

std::shared_ptr<const ResultMap> AnswerTreeFor(const SourcePaths& paths) {
  const bool fromImage = ImageExists(paths.image);
  const std::string key = fromImage ? "image:" + paths.image : "firmware:" + paths.firmwareLocation;
  std::lock_guard<std::mutex> lock(gCacheMutex);
  if (const auto cached = gCache.find(key); cached != gCache.end()) {
    if (cached->second.error) throw *cached->second.error;
    return cached->second.tree;
  }
  try {
    auto tree = std::make_shared<const ResultMap>(ReadAndDecode(paths, fromImage));
    gCache[key].tree = tree;
    return tree;
  } catch (const ResultStatus& status) {
    if (Cacheable(status)) gCache[key].error = status;
    throw;
  }
}

}  // namespace Module::BIOSConfig
