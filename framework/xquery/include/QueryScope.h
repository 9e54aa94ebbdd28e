#pragma once
// One query as the framework sees it: the span of one top-level call into a module
// (PlatformConfigModule::ProcessXQuery, BIOSConfigModule::ProcessXQuery, BMCConfigModule::Process).
// Each of those entries opens a QueryScope; a scope opened while another is open on the same
// thread joins it, so a module asking a sibling module stays within its own query.
//
// State that must last exactly one query (a time budget, a failure seen, a settings snapshot)
// is kept in a PerQuery<T>, which starts afresh whenever the thread's query changes.

#include <chrono>
#include <cstdint>

#include "xquery_export.h"

class XQUERY_EXPORT QueryScope {
 public:
  using Clock = std::chrono::steady_clock;

  // The query open on the calling thread. A generation of 0 means no query is open; every query
  // opened in the process gets a generation of its own, never reused.
  struct Info {
    uint64_t generation = 0;
    Clock::time_point start{};
  };

  QueryScope();
  ~QueryScope();
  QueryScope(const QueryScope&) = delete;
  QueryScope& operator=(const QueryScope&) = delete;

  static Info Current();

  // True when this scope opened the query rather than joining an outer one.
  bool Outermost() const { return outermost_; }

 private:
  bool outermost_ = false;
};

// A value that belongs to the current query of the calling thread. Declare it thread_local (one
// per thread); Get hands out the value, made afresh by init() for each new query, or null when
// no query is open. Keep a PerQuery in the one library that owns the state: an instance in a
// header would be duplicated in every library that includes it.
template <typename T>
class PerQuery {
 public:
  template <typename Init>
  T* Get(Init&& init) {
    const QueryScope::Info query = QueryScope::Current();
    if (query.generation == 0) return nullptr;
    if (generation_ != query.generation) {
      value_ = init();
      generation_ = query.generation;
    }
    return &value_;
  }
  T* Get() {
    return Get([] { return T{}; });
  }

 private:
  uint64_t generation_ = 0;
  T value_{};
};
