#pragma once
// The decoded tables, kept for the life of the process per source: the tables do not change
// while the machine runs, so a damaged table's error is kept and raised again too. Only "not
// found" and "unreadable" are not kept, since a missing image or a permission can be fixed.

#include <memory>
#include <string>

#include "answer_tree.h"

namespace Module::BIOSConfig {

struct SourcePaths {
  std::string image;             // the configured image; "" when none is configured
  std::string firmwareLocation;  // where the operating system exposes the tables
};

// The answer tree of the image when it exists, else of the firmware's tables. Throws
// kSmbiosNotFound when neither is there, and whatever reading or decoding throws.
std::shared_ptr<const AnswerTree> AnswerTreeFor(const SourcePaths& paths);

}  // namespace Module::BIOSConfig
