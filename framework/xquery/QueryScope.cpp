#include "QueryScope.h"

#include <atomic>

namespace {

// Process-wide, so a generation names one query whichever thread ran it.
std::atomic<uint64_t> gLastGeneration{0};

struct ThreadQuery {
  unsigned depth = 0;
  QueryScope::Info info;
};

ThreadQuery& ThisThread() {
  static thread_local ThreadQuery query;
  return query;
}

}  // namespace

QueryScope::QueryScope() {
  ThreadQuery& query = ThisThread();
  if (query.depth++ == 0) {
    outermost_ = true;
    query.info = {gLastGeneration.fetch_add(1, std::memory_order_relaxed) + 1, Clock::now()};
  }
}

QueryScope::~QueryScope() {
  ThreadQuery& query = ThisThread();
  if (--query.depth == 0) query.info = Info{};
}

QueryScope::Info QueryScope::Current() {
  return ThisThread().info;
}
