#pragma once
// Which server board the module runs on, decided once per process: from the board identifier
// the firmware reports, else from the management controller's product ID.

#include <map>
#include <string>
#include <vector>

#include "platformconfig_export.h"

namespace Platform {

// Family names as identification produces them; compared case-sensitively with ==.
inline constexpr const char kOtherPlatform[] = "OTHER_PLATFORM";
inline constexpr const char kKarvoPlatform[] = "KARVO_PLATFORM";
inline constexpr const char kKarvoPlatform2[] = "KARVO_PLATFORM2";
inline constexpr const char kKarvoPlatform3[] = "KARVO_PLATFORM3";
inline constexpr const char kTeskarPlatform[] = "TESKAR_PLATFORM";
inline constexpr const char kRophinPlatform[] = "ROPHIN_PLATFORM";
inline constexpr const char kDuvanePlatform[] = "DUVANE_PLATFORM";
inline constexpr const char kPirlowPlatform[] = "PIRLOW_PLATFORM";
inline constexpr const char kZorvelPlatform[] = "ZORVEL_PLATFORM";

class PLATFORMCONFIG_EXPORT PlatformImpl {
 public:
  // The process's instance. The first call identifies the platform after publishing the
  // instance, so when identification throws, that call throws and every later call returns
  // the same instance, unidentified (empty family), without trying again.
  static PlatformImpl* GetInstance();
  // The process's instance if one has been made, else null; never makes or identifies one.
  static const PlatformImpl* Existing() { return m_pInstance; }

  PlatformImpl(const PlatformImpl&) = delete;
  PlatformImpl& operator=(const PlatformImpl&) = delete;

  // Sets boardId from the firmware and family from the board table or, for a board the table
  // does not know, from the controller. Throws ResultStatus (1018, 1006, 1026).
  void IdentifyPlatform();

  // Reads the board identifier from the firmware's version variable. Throws ResultStatus 1018
  // when the variable is missing or is not the firmware's.
  void GetPlatformIDfromSMI(std::string& board);

  void InitBoardTable();
  // The family of a board, or "" for a board the table does not know.
  std::string LookupBoardFamily(std::string board);
  // The family for a product ID written as GetDeviceId's low and high byte texts joined.
  std::string GetFamilyFromProductID(std::string productIdText);

  std::string GetBoardID() const { return boardId; }

  // Sensor numbers ("%02x") of the family the board table gives board, not of the family
  // identification settled on. An unknown board is added to the table with no family and gets
  // 0xFF ("ff", no sensor) everywhere.
  std::vector<std::string> GetDimmSensorNumbers(const char* board);
  std::vector<std::string> GetSensorGroupA(const char* board);
  std::vector<std::string> GetSensorGroupB(const char* board);

  // Sends a request written as hexadecimal bytes ("20 06 00 01": slave address, network
  // function, LUN, command, data...) and returns the completion code ("%d") followed by the
  // response data bytes ("%x"). Throws ResultStatus: 1026 when the request is malformed or
  // cannot be sent, 1006 when no response block can be had.
  static void execIPMICommand(std::string request, std::vector<std::string>& response);

  // Splits text at any character of delimiters; empty tokens are dropped.
  static void SplitTokens(std::vector<std::string>& out, std::string text, std::string delimiters);

  // Read directly by the processor and memory components.
  std::string family;
  std::string boardId;

 private:
  PlatformImpl() = default;
  std::string& FamilyOf(const char* board);

  static PlatformImpl* m_pInstance;

  std::map<std::string, std::string> boardTable_;
};

}  // namespace Platform
