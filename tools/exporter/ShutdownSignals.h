#pragma once

namespace Exporter {

// SIGTERM and SIGINT, taken as a request to stop rather than left to end the process. Made
// before any other thread starts (the HTTP server's, the collector's), which then inherit the
// signals' blocking, so that only Wait receives them. SIGPIPE is ignored: a scraper that hangs
// up in the middle of a page must not end the exporter.
class ShutdownSignals {
 public:
  ShutdownSignals();
  ShutdownSignals(const ShutdownSignals&) = delete;
  ShutdownSignals& operator=(const ShutdownSignals&) = delete;

  // Blocks until one of the signals arrives; returns its number.
  int Wait();
};

}  // namespace Exporter
