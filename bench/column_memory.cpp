// What a scan of 1 GiB of column data asks of memory: the peak of the resident set, the calls of
// the allocator and the blocks that kernels take from their host while it runs. Writes name,value
// lines as CSV to the file that is given, or to standard output.

#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host/column.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/services.h"
#include "kernels/frame/colx_x86.h"

namespace {
std::atomic<uint64_t> allocator_calls{0};
}  // namespace

// The C library's allocator under its own names, counted; operator new comes here, too.
extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);

void* malloc(size_t bytes) {
  ++allocator_calls;
  return __libc_malloc(bytes);
}
void* calloc(size_t count, size_t bytes) {
  ++allocator_calls;
  return __libc_calloc(count, bytes);
}
void* realloc(void* block, size_t bytes) {
  ++allocator_calls;
  return __libc_realloc(block, bytes);
}
void* aligned_alloc(size_t alignment, size_t bytes) {
  ++allocator_calls;
  return __libc_memalign(alignment, bytes);
}
}

namespace colx::bench {
namespace {

constexpr uint64_t column_bytes = uint64_t{1} << 30;
constexpr uint32_t width_bits = 16;

uint64_t peak_kib() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<uint64_t>(usage.ru_maxrss);
}

// 16-bit codes, chunk by chunk, each byte 0 to 250 in turn.
host::StoredColumn column() {
  host::StoredColumn column;
  column.format = {.encoding = host::Encoding::dict, .width_bits = width_bits};
  const uint64_t chunk_bytes = uint64_t{host::max_chunk_rows} * width_bits / 8;
  uint64_t number = 0;
  for (uint64_t bytes = 0; bytes < column_bytes; bytes += chunk_bytes) {
    host::Chunk& chunk = column.chunks.emplace_back();
    chunk.rows = host::max_chunk_rows;
    chunk.data = host::StreamBuffer(chunk_bytes);
    for (uint8_t& byte : chunk.data.bytes()) byte = static_cast<uint8_t>(number++ % 251);
  }
  return column;
}

int report(std::FILE* to) {
  const auto library = host::Library::attach(colx_global_specialized_ctx, colx_dispatch_func_names,
                                             "the kernels of this program");
  if (!library) return std::fprintf(stderr, "%s\n", library.message().c_str()), 1;
  const host::StoredColumn stored = column();
  const host::CodePredicate predicate = {.compare = host::Compare::lt, .low = 0x4000};
  const auto scan = host::PreparedScan::on_codes(*library, stored, predicate);
  if (!scan) return std::fprintf(stderr, "%s\n", scan.message().c_str()), 1;
  host::HostServices services(*library);
  host::RowBits hits(host::max_chunk_rows);

  const uint64_t peak_before = peak_kib();
  const uint64_t calls_before = allocator_calls;
  const auto start = std::chrono::steady_clock::now();
  uint64_t found = 0;
  for (size_t chunk = 0; chunk < stored.chunks.size(); ++chunk) {
    const auto count = scan->run(chunk, hits, services);
    if (!count) return std::fprintf(stderr, "%s\n", count.message().c_str()), 1;
    found += *count;
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  const uint64_t calls = allocator_calls - calls_before;

  // Of 251 byte values in turn the first byte of a code is below 0x40 in 64 of 251 rows.
  const uint64_t due = stored.rows() * 64 / 251;
  if (found + 64 < due || found > due + 64) return std::fprintf(stderr, "wrong hits\n"), 1;
  std::fprintf(to, "name,value\n");
  std::fprintf(to, "kernel,%s\n", scan->kernel_name());
  std::fprintf(to, "column_bytes,%llu\n", static_cast<unsigned long long>(column_bytes));
  std::fprintf(to, "rows,%llu\n", static_cast<unsigned long long>(stored.rows()));
  std::fprintf(to, "hits,%llu\n", static_cast<unsigned long long>(found));
  std::fprintf(to, "seconds,%.6f\n", seconds.count());
  std::fprintf(to, "peak_kib_before,%llu\n", static_cast<unsigned long long>(peak_before));
  std::fprintf(to, "peak_kib,%llu\n", static_cast<unsigned long long>(peak_kib()));
  std::fprintf(to, "allocator_calls,%llu\n", static_cast<unsigned long long>(calls));
  const host::AllocationCounters& counters = services.counters();
  std::fprintf(to, "host_blocks,%llu\n",
               static_cast<unsigned long long>(counters.scratch_calls + counters.cached_calls));
  return 0;
}

}  // namespace
}  // namespace colx::bench

int main(int argc, char** argv) {
  const char* const file = argc > 1 ? argv[1] : "standard output";
  std::FILE* const to = argc > 1 ? std::fopen(file, "w") : stdout;
  const int status = to != nullptr ? colx::bench::report(to) : 1;
  if (to != nullptr && std::fclose(to) == 0) return status;
  return std::fprintf(stderr, "column_memory: cannot write %s: %s\n", file, std::strerror(errno)),
         1;
}
