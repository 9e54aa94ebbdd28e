#pragma once
// The in-band IPMI channel: the management-bus driver library, loaded at run time by name, and
// the request and response blocks the module fills for it. The library state is process-wide
// and unlocked; it is meant to be driven from the thread that initialises the module.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platformconfig_export.h"

namespace Platform {

// The driver never writes more response data than this.
constexpr size_t kImbMaxResponseData = 65;

// Status words of the channel routines.
constexpr uint32_t kImbStatusSuccess = 0;
constexpr uint32_t kImbStatusNullRequest = 0x80FA0008;
constexpr uint32_t kImbStatusNotLoaded = 0x80F00001;
constexpr uint32_t kImbStatusLoadFailed = 0x80F00009;
// The same word as a failed load: to a caller both mean the controller cannot be reached.
constexpr uint32_t kImbStatusSendFailed = 0x80F00009;
// SendBridgedImbRequest could not even build its request.
constexpr uint32_t kImbBridgeNoMemory = 1;

// One request, as parsed from its text form.
struct IpmiRequestBuffer {
  uint8_t rsSa = 0;   // responder slave address
  uint8_t cmd = 0;    // command
  uint8_t netFn = 0;  // network function
  uint8_t rsLun = 0;  // responder LUN
  std::vector<uint8_t> data;
};

// One answer, laid out as the module has always kept it: 7 header bytes, then the data.
struct IpmiResponseBuffer {
  uint8_t dataLength = 0;
  uint8_t completionCode = 0;
  uint8_t cmd = 0;
  uint8_t unused3 = 0;
  uint8_t netFn = 0;  // the request's network function + 1
  uint8_t rsSa = 0;
  uint8_t unused6 = 0;
  std::array<uint8_t, kImbMaxResponseData> data{};
};
static_assert(sizeof(IpmiResponseBuffer) == 72, "the response block is 72 bytes");

// Loads the driver and resolves its three entry points, once: later calls return at once.
// kImbStatusLoadFailed when the library or an entry point is missing (the next call retries).
PLATFORMCONFIG_EXPORT uint32_t LoadImbLibrary();

// LoadImbLibrary without marking the channel loaded: the entry points become usable by the
// wrappers, but SendImbRequest still refuses until LoadImbLibrary has succeeded.
PLATFORMCONFIG_EXPORT uint32_t LoadImbEntryPoints();

// Drops the module's reference to the driver. The loaded mark and entry points stay: the
// driver is loaded pinned, so it remains mapped and later requests still reach it.
PLATFORMCONFIG_EXPORT uint32_t UnloadImbLibrary();

// Sends request, trying up to three times, and fills response. kImbStatusNullRequest,
// kImbStatusNotLoaded or kImbStatusSendFailed otherwise.
PLATFORMCONFIG_EXPORT uint32_t SendImbRequest(const IpmiRequestBuffer* request,
                                              IpmiResponseBuffer* response);

// The Send Message request that carries inner to targetAddress on channel.
PLATFORMCONFIG_EXPORT IpmiRequestBuffer BuildBridgedRequest(const IpmiRequestBuffer& inner,
                                                            uint8_t channel, uint8_t targetAddress,
                                                            uint8_t sequence);

// Sends inner through the controller to another bus and waits (at most 5 s) for the matching
// asynchronous answer, which lands in out. Returns 0 also when nothing came back (out is then
// untouched); kImbBridgeNoMemory when the request cannot be built or an argument is null.
PLATFORMCONFIG_EXPORT uint32_t SendBridgedImbRequest(const IpmiRequestBuffer* inner,
                                                     IpmiResponseBuffer* out, uint8_t channel,
                                                     uint8_t targetAddress);

// Passes an interface choice to the driver; false when the driver refuses it or its entry
// point has not been resolved.
PLATFORMCONFIG_EXPORT bool SelectInterface(const char* interfaceName, const char* host,
                                           const char* user, const char* password);

// The IPMB checksum of count bytes: the value that makes their sum 0 modulo 256. A count
// below 2 (negative ones included) checks the first byte alone; 0 bytes give 0.
PLATFORMCONFIG_EXPORT uint8_t IpmbChecksum(const uint8_t* bytes, int count);

}  // namespace Platform
