// morsels.h: chunks shared out among threads.
#pragma once

#include <cstddef>
#include <functional>

#include "host/result.h"

namespace colx::host {

// Calls work(thread, chunk) once for each chunk from 0 to `chunks` - 1, on `threads` threads, 0
// taken for 1, the caller's among them: each takes the next chunk when it is done with one, so
// which thread gets which chunk is open. Threads are numbered from 0. After an error no chunk is
// begun any more, and one of the errors is returned. `work` is called from several threads at once.
Result<void> run_morsels(unsigned threads, size_t chunks,
                         const std::function<Result<void>(unsigned thread, size_t chunk)>& work);

}  // namespace colx::host
