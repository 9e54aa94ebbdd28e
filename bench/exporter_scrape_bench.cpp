// Scrape latency of platform_exporter over 10,000 scrapes of its /metrics (median, p99), against
// a static one-gauge page served by the same HTTP exposer (prometheus-cpp's) in this process,
// the two scraped in turn; and the exporter's CPU time and resident memory over those scrapes.
// Run through sim/run (bench/run does): the exporter collects from the simulated server, once a
// second, while it is scraped.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <prometheus/exposer.h>
#include <prometheus/gauge.h>
#include <prometheus/registry.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kScrapes = 10000;
constexpr int kWarmUp = 100;
constexpr auto kStartTimeout = std::chrono::seconds(30);
// The exporter's own cost between scrapes (its collections), measured while nobody scrapes it.
constexpr auto kIdleWindow = std::chrono::seconds(3);
constexpr const char* kInterval = "1s";

std::string Slurp(const std::string& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// One GET over a fresh connection, as a scraper without keep-alive makes it; the body, or a
// thrown error.
std::string Get(int port, const char* path) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) throw std::runtime_error("no socket");
  std::unique_ptr<int, void (*)(int*)> closer(new int(fd), [](int* f) {
    close(*f);
    delete f;
  });
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect to port " + std::to_string(port));
  }
  const std::string request =
      std::string("GET ") + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n";
  if (write(fd, request.data(), request.size()) != static_cast<ssize_t>(request.size())) {
    throw std::runtime_error("cannot send the request");
  }
  std::string reply;
  char buffer[16384];
  for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) reply.append(buffer, n);
  if (reply.compare(0, 12, "HTTP/1.1 200") != 0) throw std::runtime_error("not 200: " + reply);
  return reply.substr(reply.find("\r\n\r\n") + 4);
}

// The exporter as a child process with its standard error in a file (it logs the failed
// readings of every collection, which a pipe nobody reads would stall).
class ExporterProcess {
 public:
  explicit ExporterProcess(const std::string& path) {
    char name[] = "/tmp/exporter-bench-XXXXXX";
    const int log = mkstemp(name);
    if (log < 0) throw std::runtime_error("no temporary file");
    logPath_ = name;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, log, STDERR_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> args{path, "--listen", "127.0.0.1:0", "--interval", kInterval};
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    const int failed = posix_spawn(&pid_, path.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(log);
    if (failed != 0) throw std::runtime_error("cannot start " + path);
  }
  ~ExporterProcess() {
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    unlink(logPath_.c_str());
  }
  ExporterProcess(const ExporterProcess&) = delete;
  ExporterProcess& operator=(const ExporterProcess&) = delete;

  // The port it reports serving on, once it does.
  int Port() const {
    const std::regex serving("serving http://127\\.0\\.0\\.1:([0-9]+)/metrics");
    for (const auto end = Clock::now() + kStartTimeout; Clock::now() < end;) {
      std::smatch m;
      const std::string log = Slurp(logPath_);
      if (std::regex_search(log, m, serving)) return std::stoi(m[1]);
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) throw std::runtime_error("exporter: " + log);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("the exporter did not start listening");
  }

  // User and system CPU seconds so far.
  double CpuSeconds() const {
    // Fields 14 and 15, counted from the state (field 3) after the command's closing bracket.
    const std::string line = Slurp("/proc/" + std::to_string(pid_) + "/stat");
    std::istringstream stat(line.substr(line.rfind(')') + 1));
    std::string skipped;
    for (int field = 3; field < 14; ++field) stat >> skipped;
    unsigned long long user = 0, system = 0;
    stat >> user >> system;
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
  }

  // Resident set size in MiB.
  double ResidentMiB() const {
    const std::string status = Slurp("/proc/" + std::to_string(pid_) + "/status");
    const size_t at = status.find("VmRSS:");
    return at == std::string::npos ? 0 : std::strtod(status.c_str() + at + 6, nullptr) / 1024.0;
  }

 private:
  pid_t pid_ = 0;
  std::string logPath_;
};

std::string ExporterBesideThisProgram() {
  std::vector<char> self(4096);
  const ssize_t n = readlink("/proc/self/exe", self.data(), self.size() - 1);
  std::string dir = n > 0 ? std::string(self.data(), static_cast<size_t>(n)) : std::string();
  return dir.substr(0, dir.rfind('/') + 1) + "platform_exporter";
}

struct Percentiles {
  double median, p99;
};

Percentiles Of(std::vector<double> us) {
  std::sort(us.begin(), us.end());
  return {us[us.size() / 2], us[us.size() * 99 / 100]};
}

double Microseconds(Clock::duration d) {
  return std::chrono::duration<double, std::micro>(d).count();
}

int Run() {
  ExporterProcess exporter(ExporterBesideThisProgram());
  const int exporterPort = exporter.Port();
  // Scraped from its first whole collection on.
  for (const auto end = Clock::now() + kStartTimeout;
       Get(exporterPort, "/metrics").find("platform_up{source=\"smbios\"}") == std::string::npos;) {
    if (Clock::now() > end) throw std::runtime_error("the exporter collected nothing");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }

  prometheus::Exposer reference("127.0.0.1:0", 2);
  auto registry = std::make_shared<prometheus::Registry>();
  prometheus::BuildGauge()
      .Name("static_page")
      .Help("A constant.")
      .Register(*registry)
      .Add({})
      .Set(1);
  reference.RegisterCollectable(registry);
  const int referencePort = reference.GetListeningPorts().at(0);

  for (int i = 0; i < kWarmUp; ++i) {
    Get(exporterPort, "/metrics");
    Get(referencePort, "/metrics");
  }
  const double idleStart = exporter.CpuSeconds();
  std::this_thread::sleep_for(kIdleWindow);
  const double idlePerSecond =
      (exporter.CpuSeconds() - idleStart) / std::chrono::duration<double>(kIdleWindow).count();

  const double rssBefore = exporter.ResidentMiB();
  const double cpuBefore = exporter.CpuSeconds();
  const auto start = Clock::now();
  std::vector<double> scrapeUs, referenceUs;
  size_t pageBytes = 0;
  for (int i = 0; i < kScrapes; ++i) {
    auto t = Clock::now();
    pageBytes = Get(exporterPort, "/metrics").size();
    scrapeUs.push_back(Microseconds(Clock::now() - t));
    t = Clock::now();
    Get(referencePort, "/metrics");
    referenceUs.push_back(Microseconds(Clock::now() - t));
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  const double cpu = exporter.CpuSeconds() - cpuBefore;
  const double rssAfter = exporter.ResidentMiB();

  const Percentiles scrape = Of(scrapeUs), ref = Of(referenceUs);
  std::printf("%d scrapes of the exporter's /metrics (%zu bytes) while it collects every %s:\n",
              kScrapes, pageBytes, kInterval);
  std::printf(
      "  latency median %.0f us, p99 %.0f us; static page from the same exposer: median "
      "%.0f us, p99 %.0f us; ratio median %.2f, p99 %.2f\n",
      scrape.median, scrape.p99, ref.median, ref.p99, scrape.median / ref.median,
      scrape.p99 / ref.p99);
  std::printf(
      "  exporter CPU %.2f s over %.1f s (%.1f us a scrape beyond its collections, which "
      "take %.1f%% of a CPU); resident %.1f MiB before, %.1f MiB after\n",
      cpu, seconds, (cpu - idlePerSecond * seconds) / kScrapes * 1e6, idlePerSecond * 100,
      rssBefore, rssAfter);
  return 0;
}

}  // namespace

int main() {
  try {
    return Run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "exporter_scrape_bench: %s\n", e.what());
    return 1;
  }
}
