#include <gtest/gtest.h>

#include <thread>

#include "QueryScope.h"

namespace {

// A nested scope joins the query open on its thread; closing the outermost one ends it, and
// the next query is a new generation with state of its own.
TEST(QueryScope, NestedScopesShareOneQueryAndStateLastsOneQuery) {
  thread_local PerQuery<int> counter;
  EXPECT_EQ(QueryScope::Current().generation, 0U);
  EXPECT_EQ(counter.Get(), nullptr) << "no state outside a query";

  uint64_t first = 0;
  {
    QueryScope outer;
    first = QueryScope::Current().generation;
    const QueryScope::Clock::time_point started = QueryScope::Current().start;
    EXPECT_TRUE(outer.Outermost());
    EXPECT_NE(first, 0U);
    ++*counter.Get();
    {
      QueryScope inner;
      EXPECT_FALSE(inner.Outermost());
      EXPECT_EQ(QueryScope::Current().generation, first);
      EXPECT_EQ(QueryScope::Current().start, started) << "a joined query keeps its start";
      ++*counter.Get();
    }
    EXPECT_EQ(QueryScope::Current().generation, first) << "the inner scope ended the query";
    EXPECT_EQ(*counter.Get(), 2);
  }
  EXPECT_EQ(QueryScope::Current().generation, 0U);

  QueryScope next;
  EXPECT_GT(QueryScope::Current().generation, first);
  EXPECT_EQ(*counter.Get([] { return 40; }), 40) << "a new query starts from init()";
}

// Queries on two threads at once are two queries, each with its own state.
TEST(QueryScope, EachThreadHasItsOwnQuery) {
  static thread_local PerQuery<int> value;
  QueryScope here;
  *value.Get() = 1;
  uint64_t there = 0;
  int seenThere = -1;
  std::thread other([&] {
    EXPECT_EQ(QueryScope::Current().generation, 0U) << "a query does not follow into a thread";
    QueryScope scope;
    there = QueryScope::Current().generation;
    seenThere = *value.Get();
  });
  other.join();
  EXPECT_NE(there, QueryScope::Current().generation);
  EXPECT_EQ(seenThere, 0);
  EXPECT_EQ(*value.Get(), 1);
}

}  // namespace
