#include "host/morsels.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace colx::host {

Result<void> run_morsels(unsigned threads, size_t chunks,
                         const std::function<Result<void>(unsigned thread, size_t chunk)>& work) {
  const auto workers =
      static_cast<unsigned>(std::clamp<size_t>(threads, 1, std::max<size_t>(chunks, 1)));
  std::atomic<size_t> next{0};
  std::atomic<bool> failed{false};
  std::vector<std::optional<Error>> errors(workers);
  const auto take_chunks = [&](unsigned thread) {
    while (!failed) {
      const size_t chunk = next++;
      if (chunk >= chunks) return;
      if (auto done = work(thread, chunk); !done) {
        errors[thread] = done.error();
        failed = true;
      }
    }
  };
  {
    std::vector<std::jthread> others;
    for (unsigned thread = 1; thread < workers; ++thread) others.emplace_back(take_chunks, thread);
    take_chunks(0);
  }
  for (const auto& error : errors)
    if (error) return *error;
  return {};
}

}  // namespace colx::host
