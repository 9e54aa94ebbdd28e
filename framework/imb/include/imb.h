#ifndef ORDIX_IMB_H
#define ORDIX_IMB_H
/*
 * The management-bus driver library: the C interface through which the module sends IPMI
 * requests to the baseboard management controller. Callers load the library at run time by
 * name (libquarnapi.so) and look the three functions up; the typedefs below give their types.
 *
 * Two libraries implement it:
 *  - libquarnapi.so talks to the real controller over FreeIPMI, as the [BMC] section of the
 *    settings file says (keys listed at the end of this header);
 *  - libquarnapi-sim.so (also built as imb-sim/libquarnapi.so) answers from a text script,
 *    for tests without a controller (script format: framework/imb/sim_script.h).
 *
 * All functions are safe to call from several threads; requests are served one at a time.
 */

#include <stdint.h>

#include "imb_export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Return codes of every function. A completion code other than 0 is not a failure of the
 * library: the request was answered and the caller judges the code. */
enum ImbStatus {
  IMB_STATUS_SUCCESS = 0,
  /* A null pointer, request data longer than IMB_MAX_REQUEST_DATA_LENGTH, a network function
   * that is odd (a response) or above 3Fh, or a LUN above 3. */
  IMB_STATUS_INVALID_ARGUMENT = 1,
  /* The [BMC] settings cannot be used (an unknown interface, a LAN interface without a host,
   * a value out of range); the scripted double: no script named, or the script is malformed.
   * The reason goes to the framework log. */
  IMB_STATUS_NOT_CONFIGURED = 2,
  /* No session: the device is absent, the host does not answer within the timeout, or the
   * controller refused the credentials. The next call tries again. */
  IMB_STATUS_OPEN_FAILED = 3,
  /* The request got no valid answer within the timeout. The session is dropped unless the
   * failure concerned only this request, and reopened by the next call. The scripted double
   * returns it for sends its script makes fail. */
  IMB_STATUS_SEND_FAILED = 4,
  /* The answer was too short to hold a completion code, or answered another command. */
  IMB_STATUS_BAD_RESPONSE = 5,
  /* The answer held more than IMB_MAX_RESPONSE_DATA_LENGTH data bytes; nothing was written. */
  IMB_STATUS_RESPONSE_TOO_LONG = 6,
  /* GetAsyncImbpMessage: no message is waiting. */
  IMB_STATUS_NO_MESSAGE = 7
};

/* The caller's response buffer must hold this many bytes; no call ever writes more, whatever
 * *responseLength holds on entry. */
#define IMB_MAX_RESPONSE_DATA_LENGTH 65

/* The longest request data accepted (larger than any IPMI message a controller takes). */
#define IMB_MAX_REQUEST_DATA_LENGTH 256

/* The controller's own slave address; requests to any other address are bridged. */
#define IMB_BMC_SLAVE_ADDRESS 0x20

#pragma pack(push, 1)
/* One request, laid out byte for byte as callers build it (17 bytes, no padding). */
typedef struct ImbRequest {
  uint8_t cmdType;     /* IPMI command */
  uint8_t rsSa;        /* responder slave address (20h: the controller) */
  uint8_t busType;     /* channel a bridged request goes out on (0: primary IPMB) */
  uint8_t netFn;       /* network function of the request (even, 00h-3Eh) */
  uint8_t rsLun;       /* responder LUN (0-3) */
  uint8_t* data;       /* request data; may be null when dataLength is 0 */
  uint32_t dataLength; /* number of request data bytes */
} ImbRequest;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(ImbRequest) == 17, "ImbRequest is a packed 17-byte structure");
#else
_Static_assert(sizeof(ImbRequest) == 17, "ImbRequest is a packed 17-byte structure");
#endif

/*
 * Sends one request and waits for its answer. On IMB_STATUS_SUCCESS, responseData holds
 * *responseLength (0-65) data bytes that follow the completion code, and *completionCode the
 * code. On any other status *responseLength is 0 and the other outputs are left alone.
 * The value of *responseLength on entry is ignored: responseData must have room for
 * IMB_MAX_RESPONSE_DATA_LENGTH bytes, and nothing past responseData[64] is ever written.
 * timeoutMs bounds the whole call when it is above 0 and below the [BMC] TimeoutMs setting,
 * which bounds it otherwise; opening a session and replacing a dead one included.
 */
IMB_EXPORT int SendTimedImbpRequest(ImbRequest* request, int timeoutMs, uint8_t* responseData,
                                    int* responseLength, uint8_t* completionCode);

/*
 * Delivers one asynchronous message (event or bridged response) when one is waiting. Neither
 * implementation keeps a message queue (FreeIPMI's sessions deliver bridged responses
 * synchronously), so both return IMB_STATUS_NO_MESSAGE and set *messageLength to 0, or
 * IMB_STATUS_INVALID_ARGUMENT for a null message or length pointer. sequence and channel are
 * not used.
 */
IMB_EXPORT int GetAsyncImbpMessage(uint8_t* message, uint32_t* messageLength, int timeoutMs,
                                   uint32_t* sequence, uint8_t channel);

/*
 * Chooses the interface for the process's session in place of the [BMC] settings:
 * interfaceName "inband", "lan" or "lanplus" (any case); host, user and password replace the
 * settings' values when not null (host may carry a port: "name:port", "[v6-address]:port").
 * The current session is closed; the next request opens one with the new choice.
 * Returns non-zero when the name is supported (the choice is then in effect), 0 otherwise.
 * The scripted double checks the name the same way and otherwise ignores the call.
 */
IMB_EXPORT int SelectInterface(const char* interfaceName, const char* host, const char* user,
                               const char* password);

/*
 * Why the calling thread's last SendTimedImbpRequest failed, as one line for a person: which
 * step failed and what to set ("no reply from 127.0.0.1:623 within 900 ms: is [BMC] Host/Port
 * right, is the BMC up? ..."). Writes at most capacity - 1 bytes and a terminating zero (nothing
 * when text is null or capacity 0) and returns the text's whole length: 0 after a success.
 * Optional: callers look it up and do without it when a driver lacks it.
 */
IMB_EXPORT int GetImbpLastError(char* text, uint32_t capacity);

typedef int (*SendTimedImbpRequestFn)(ImbRequest*, int, uint8_t*, int*, uint8_t*);
typedef int (*GetAsyncImbpMessageFn)(uint8_t*, uint32_t*, int, uint32_t*, uint8_t);
typedef int (*SelectInterfaceFn)(const char*, const char*, const char*, const char*);
typedef int (*GetImbpLastErrorFn)(char*, uint32_t);

/*
 * Settings, section [BMC] of the settings file (read each time a session opens):
 *   Interface    inband | lan (IPMI 1.5) | lanplus (IPMI 2.0)            default inband
 *   Device       the in-band driver device; absent fails at once         default /dev/ipmi0
 *   Host, Port   the controller's LAN address ("name:port" also works)   -, 623
 *   User, Password                                                       empty (null user)
 *   AuthType     lan: none | md2 | md5 | password                        md5
 *   Privilege    callback | user | operator | admin | oem                 admin
 *   CipherSuite  lanplus: 0-255 (FreeIPMI supports 0-3, 6-8, 11, 12, 15-17) 3
 *   TimeoutMs    bound of one request, 50-600000                          5000
 *   Workarounds  FreeIPMI workaround names separated by blanks or commas, or none: exactly
 *                these are used. Unset, a session that cannot be opened is tried again with
 *                the workarounds FreeIPMI documents for its failure, and the one that works
 *                is kept for the process.
 *                lan: authcap idzero forcepermsg unexpectedauth endianseq noauthcodecheck
 *                     nochecksumcheck
 *                lanplus: authcap intel20 supermicro20 sun20 opensesspriv
 *                     integritycheckvalue nochecksumcheck
 *   SimScript    the scripted double's script, when QUARNAPI_SIM_SCRIPT is not set
 * A LAN session waits at most half the bound for any reply (so that a kept session found dead
 * can be replaced within the same call) and sends again after a tenth of TimeoutMs of
 * silence. In-band requests wait as long as the kernel's IPMI driver and FreeIPMI's in-band
 * layer allow: both keep their own bounds, and neither takes one from here.
 */

#ifdef __cplusplus
}
#endif

#endif /* ORDIX_IMB_H */
