// A module for ipmi_sim that answers Get Sensor Reading and Get Sensor Event Status from bytes
// the command file gives per sensor:
//
//   sensor_bytes MC LUN SENSOR READING... / EVENT_STATUS...
//
// Numbers follow the simulator's own commands (C notation: 0x20, 32). Each side after the
// sensor is either the reply data bytes (sent with completion code 00h) or a single token
// cc=N, a reply of completion code N and no data. Giving a sensor again replaces its bytes.
//
//   mark_ready PATH
//
// creates PATH. Without a console the simulator stops reading a command file at its first bad
// line and says so nowhere, so whoever starts it puts this last and waits for the file.
//
// The simulator's own Get Sensor Reading derives the flag byte from its sensor model and never
// sets the low bits some BMCs use to say which states they report, and it has no Get Sensor
// Event Status at all. Registering a handler replaces the built-in one for every sensor, so a
// sensor without bytes here answers as absent (CBh), whatever the simulator knows of it.
extern "C" {
#include <OpenIPMI/mcserv.h>
}

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <vector>

#define SIM_MODULE_API extern "C" __attribute__((visibility("default")))

namespace {

constexpr unsigned char kNetFnSensorEvent = 0x04;
constexpr unsigned char kCmdGetSensorEventStatus = 0x2b;
constexpr unsigned char kCmdGetSensorReading = 0x2d;
constexpr unsigned char kCcOk = 0x00;
constexpr unsigned char kCcNotPresent = 0xcb;
constexpr unsigned char kCcRequestLength = 0xc7;
// Far more than either reply holds (4 and 5 bytes), so a profile can also describe a BMC that
// sends too much, while the reply stays well inside the simulator's message buffer.
constexpr size_t kMaxReplyBytes = 32;

struct Reply {
  unsigned char completionCode = kCcOk;
  std::vector<unsigned char> data;
};

struct SensorBytes {
  Reply reading;
  Reply eventStatus;
};

sys_data_t* g_sys = nullptr;
// Keyed by (MC address, LUN, sensor number), so sensors of several MCs and LUNs can coexist.
std::map<unsigned, SensorBytes> g_sensors;

unsigned Key(unsigned char mc, unsigned char lun, unsigned char sensor) {
  return (unsigned{mc} << 16) | (unsigned{lun} << 8) | sensor;
}

// The formats below are only read; eprintf merely lacks the const.
void Complain(emu_out_t* out, const char* format, const char* detail) {
  if (out != nullptr && out->eprintf != nullptr)
    out->eprintf(out, const_cast<char*>(format), detail);
}

bool ParseByte(const char* text, unsigned char& value) {
  if (text == nullptr || *text == '\0' || *text == '-') return false;
  char* end = nullptr;
  errno = 0;
  const unsigned long parsed = std::strtoul(text, &end, 0);
  if (errno != 0 || *end != '\0' || parsed > 0xff) return false;
  value = static_cast<unsigned char>(parsed);
  return true;
}

// One side of the command: the tokens up to "/" (or the end of the line).
bool ParseReply(char** toks, Reply& reply, bool& sawSlash, emu_out_t* out) {
  reply = Reply{};
  sawSlash = false;
  bool explicitCode = false;
  for (char* tok = strtok_r(nullptr, " \t\n", toks); tok != nullptr;
       tok = strtok_r(nullptr, " \t\n", toks)) {
    if (std::strcmp(tok, "/") == 0) {
      sawSlash = true;
      break;
    }
    if (explicitCode) {
      Complain(out, "sensor_bytes: nothing may follow a completion code, found %s\n", tok);
      return false;
    }
    if (std::strncmp(tok, "cc=", 3) == 0) {
      if (!reply.data.empty() || !ParseByte(tok + 3, reply.completionCode)) {
        Complain(out, "sensor_bytes: %s must stand alone and name one byte\n", tok);
        return false;
      }
      explicitCode = true;
      continue;
    }
    unsigned char byte = 0;
    if (!ParseByte(tok, byte)) {
      Complain(out, "sensor_bytes: %s is not a byte\n", tok);
      return false;
    }
    if (reply.data.size() == kMaxReplyBytes) {
      Complain(out, "sensor_bytes: more reply bytes than the module keeps (at %s)\n", tok);
      return false;
    }
    reply.data.push_back(byte);
  }
  if (!explicitCode && reply.data.empty()) {
    Complain(out, "sensor_bytes: %s\n", "a reply needs bytes or cc=N");
    return false;
  }
  return true;
}

int SensorBytesCommand(emu_out_t* out, emu_data_t* /*emu*/, lmc_data_t* mc, char** toks) {
  if (mc == nullptr || g_sys == nullptr || g_sys->mc_get_ipmb == nullptr) {
    Complain(out, "sensor_bytes: %s\n", "no such MC");
    return EINVAL;
  }
  unsigned char lun = 0, sensor = 0;
  const char* lunText = strtok_r(nullptr, " \t\n", toks);
  const char* sensorText = strtok_r(nullptr, " \t\n", toks);
  if (!ParseByte(lunText, lun) || lun > 3 || !ParseByte(sensorText, sensor)) {
    Complain(out, "sensor_bytes: %s\n", "expected MC LUN SENSOR READING... / EVENT_STATUS...");
    return EINVAL;
  }
  SensorBytes bytes;
  bool slash = false, extraSlash = false;
  if (!ParseReply(toks, bytes.reading, slash, out)) return EINVAL;
  if (!slash) {
    Complain(out, "sensor_bytes: %s\n", "missing \"/\" between the reading and the event status");
    return EINVAL;
  }
  if (!ParseReply(toks, bytes.eventStatus, extraSlash, out)) return EINVAL;
  if (extraSlash) {
    Complain(out, "sensor_bytes: %s\n", "more than one \"/\"");
    return EINVAL;
  }
  try {
    g_sensors[Key(g_sys->mc_get_ipmb(mc), lun, sensor)] = std::move(bytes);
  } catch (const std::bad_alloc&) {
    Complain(out, "sensor_bytes: %s\n", "out of memory");
    return ENOMEM;
  }
  return 0;
}

int MarkReadyCommand(emu_out_t* out, emu_data_t* /*emu*/, lmc_data_t* /*mc*/, char** toks) {
  const char* path = strtok_r(nullptr, " \t\n", toks);
  if (path == nullptr || strtok_r(nullptr, " \t\n", toks) != nullptr) {
    Complain(out, "mark_ready: %s\n", "expected one path");
    return EINVAL;
  }
  const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) {
    const int error = errno;
    Complain(out, "mark_ready: cannot create %s\n", path);
    return error;
  }
  close(fd);
  return 0;
}

void Answer(const Reply& reply, unsigned char* rdata, unsigned int* rdata_len) {
  rdata[0] = reply.completionCode;
  std::memcpy(rdata + 1, reply.data.data(), reply.data.size());
  *rdata_len = static_cast<unsigned int>(1 + reply.data.size());
}

// cb_data tells which of the two commands is asked; both take the sensor number as byte 1.
void HandleSensorCommand(lmc_data_t* mc, msg_t* msg, unsigned char* rdata, unsigned int* rdata_len,
                         void* cb_data) {
  if (msg->len < 1 || msg->data == nullptr) {
    rdata[0] = kCcRequestLength;
    *rdata_len = 1;
    return;
  }
  const auto found = g_sensors.find(Key(g_sys->mc_get_ipmb(mc), msg->rs_lun & 3, msg->data[0]));
  if (found == g_sensors.end()) {
    rdata[0] = kCcNotPresent;
    *rdata_len = 1;
    return;
  }
  const bool reading = cb_data == &g_sensors;  // see the registration below
  Answer(reading ? found->second.reading : found->second.eventStatus, rdata, rdata_len);
}

}  // namespace

SIM_MODULE_API int ipmi_sim_module_print_version(sys_data_t* /*sys*/, char* /*options*/) {
  std::printf("IPMI Simulator sensor_bytes module 1.0\n");
  return 0;
}

SIM_MODULE_API int ipmi_sim_module_init(sys_data_t* sys, const char* /*options*/) {
  g_sys = sys;
  // Distinct non-null cookies tell the two commands apart without a second handler.
  static int eventStatusCookie;
  int rv = ipmi_emu_register_cmd_handler(kNetFnSensorEvent, kCmdGetSensorReading,
                                         HandleSensorCommand, &g_sensors);
  if (rv == 0)
    rv = ipmi_emu_register_cmd_handler(kNetFnSensorEvent, kCmdGetSensorEventStatus,
                                       HandleSensorCommand, &eventStatusCookie);
  if (rv == 0) rv = ipmi_emu_add_cmd("sensor_bytes", MC, SensorBytesCommand);
  if (rv == 0) rv = ipmi_emu_add_cmd("mark_ready", NOMC, MarkReadyCommand);
  if (rv != 0) std::fprintf(stderr, "sensor_bytes module: registration failed (%d)\n", rv);
  return rv;
}
