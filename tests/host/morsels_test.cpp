#include "host/morsels.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <vector>

namespace colx::host {
namespace {

TEST(Morsels, EveryChunkIsTakenOnceWhateverTheNumberOfThreads) {
  for (const unsigned threads : {1u, 2u, 7u, 200u}) {
    for (const size_t chunks : {0u, 1u, 6u, 100u}) {
      std::vector<std::atomic<int>> taken(chunks);
      std::mutex lock;
      std::set<unsigned> seen;
      ASSERT_TRUE(run_morsels(threads, chunks, [&](unsigned thread, size_t chunk) {
        ++taken[chunk];
        const std::lock_guard guard(lock);
        seen.insert(thread);
        return Result<void>();
      }));
      for (const auto& times : taken) EXPECT_EQ(times, 1);
      EXPECT_TRUE(seen.empty() || *seen.rbegin() < threads);
    }
  }
}

TEST(Morsels, AnErrorEndsTheRun) {
  for (const unsigned threads : {1u, 4u}) {
    std::atomic<size_t> taken{0};
    const auto done = run_morsels(threads, 100000, [&](unsigned, size_t chunk) -> Result<void> {
      ++taken;
      if (chunk == 3) return make_error("chunk %zu", chunk);
      return {};
    });
    ASSERT_FALSE(done);
    EXPECT_EQ(done.message(), "chunk 3");
    EXPECT_TRUE(threads > 1 || taken == 4u) << taken;
  }
}

}  // namespace
}  // namespace colx::host
