#pragma once
#include <functional>
#include <string>

#include "XNode.h"
#include "biosconfig_export.h"

namespace Module::BIOSConfig {

// Answers "/SMBIOS/..." and "/BIOS/..." queries from the machine's SMBIOS tables: the
// settings' [SMBIOS] Image (a dump in the format `dmidecode --dump-bin` writes), else the
// firmware's own tables. The decoded table is kept for the life of the process, per source.
// A path it cannot answer adds nothing; "@children" as last step answers the element with its
// child list only. A damaged table is answered from the structures before the damage (logged
// once, code 2025); a table that cannot be found or read, or of which not one structure can be
// read, throws ResultStatus (codes 2020-2023).
class BIOSCONFIG_EXPORT BIOSConfigModule {
 public:
  BIOSConfigModule();
  ~BIOSConfigModule();

  using AnswerSource = std::function<void(const std::string& query, ResultMap& answer)>;

  void ProcessXQuery(std::string query, ResultMap& answer);

  // Answers every query from source instead of the tables, for tests that need answers no
  // well-formed table gives (an empty source brings the tables back); returns the previous one.
  static AnswerSource InstallAnswerSource(AnswerSource source);
};

}  // namespace Module::BIOSConfig
