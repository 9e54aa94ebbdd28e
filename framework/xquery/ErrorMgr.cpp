#include "ErrorMgr.h"

#include <algorithm>
#include <iterator>

namespace {

struct ErrorText {
  uint16_t code;
  const char* text;
};

// Keep in step with ERRORS.md beside this file (a unit test compares the two).
constexpr ErrorText kErrorTexts[] = {
    // The platform-configuration module.
    {1006, "A working buffer could not be allocated."},
    {1018,
     "The firmware variable FWVERSIONDATA that names the server board is missing or malformed."},
    {1026, "An IPMI request to the management controller failed."},
    {1027, "A component of the platform data manager could not be created."},
    {1029, "The platform description (board and family) could not be obtained."},
    {1030, "No logical processor was found."},
    {1031, "A processor package could not be identified."},
    {1032, "The sensor status of a processor package could not be read."},
    {1033, "Processor usage could not be sampled."},
    {1034, "A query to the BIOS or BMC configuration module failed."},
    {1035, "No populated processor socket was found."},
    {1036, "The state of a memory module could not be read."},
    {1037, "The memory error counts could not be read from the system event log."},
    {1038, "The number of memory arrays is missing, negative, or more than any machine has."},
    {1039, "The number of memory devices of a memory array is missing, or more than the SMBIOS table accounts for."},
    {1047, "This form of ProcessXQuery is not supported by the module."},
    // The framework's own libraries.
    {2010, "The operating system's memory figures could not be read."},
    {2011, "The operating system's memory figures are malformed."},
    {2012, "The operating system's identity could not be read."},
    {2013, "The operating system's display name could not be read."},
    {2014, "The network interfaces could not be listed."},
    {2015, "The mounted file systems could not be listed."},
    {2020, "No SMBIOS tables were found: neither the configured image nor the firmware's tables exist."},
    {2021, "The SMBIOS tables could not be read."},
    {2022, "The SMBIOS entry point is malformed (anchor, length, version or checksum)."},
    {2023, "The SMBIOS structure table is malformed: not one structure can be read from it."},
    {2025, "The SMBIOS structure table is damaged: the structures before the damage are answered and the rest is left out."},
    {2040,
     "The management controller cannot be reached: the management-bus driver library could not "
     "send a request or got no valid answer."},
    {2041,
     "The management-bus driver library could not be loaded, or it lacks its request function."},
    {2042,
     "The management controller refused a request: its reply carries a non-zero completion code."},
    {2043,
     "The management controller's reply is malformed: it is too short or too long for its "
     "command."},
    {2044,
     "The system event log cannot be read to its end: a next-record ID leads back to a record "
     "already read."},
    {2045, "The BMC query is malformed: a sensor number is not a decimal number from 0 to 255."},
    {2046,
     "A request to the management controller was not sent: the controller already failed this "
     "query, or the query's time for it ([BMC] TimeoutMs) is spent."},
    {2060, "The EFI variable does not exist."},
    {2061, "The EFI variable is larger than the buffer given for it; the size it needs is returned."},
    {2062, "The EFI variable could not be read."},
    {2063, "The EFI variable is malformed: it is shorter than its 4 attribute bytes."},
    {2064, "The EFI variable request is invalid: no data buffer, or a name that cannot be looked up."},
};

const ErrorText* Find(uint16_t code) {
  auto it = std::find_if(std::begin(kErrorTexts), std::end(kErrorTexts),
                         [code](const ErrorText& e) { return e.code == code; });
  return it == std::end(kErrorTexts) ? nullptr : it;
}

}  // namespace

// The table is constant data, so the instance needs no initialisation order of its own.
ErrorMgr ErrorMgr::instance_;

ErrorMgr* ErrorMgr::GetInstance() {
  return &instance_;
}

std::string ErrorMgr::Get(uint16_t code) const {
  if (const ErrorText* e = Find(code)) return e->text;
  return "Unknown error " + std::to_string(code) + ".";
}

bool ErrorMgr::Has(uint16_t code) const {
  return Find(code) != nullptr;
}
