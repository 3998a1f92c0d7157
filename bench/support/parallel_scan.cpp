#include "bench/support/parallel_scan.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/core_threads.h"
#include "bench/support/scan_call.h"
#include "bench/support/stream_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint32_t chunk_rows = 65536;

struct ParallelScan {
  ScanKernel kernel;
  ScanCall place;  // where the rows and their bits lie
  std::atomic<uint32_t> next{0};
  std::atomic<uint32_t> hits{0};

  ParallelScan(const ScanKernel& scan, const SizeClass& size) : kernel(scan), place(scan, size) {}

  uint32_t scan_chunk(unsigned window, uint32_t first) const {
    colx_enc_ctx encoding = {};
    encoding.colx_enc_ctx_key = static_cast<uint8_t>(kernel.slot() >> 5);
    encoding.colx_enc_ctx_flags = COLX_DICT;
    encoding.colx_enc_ctx_width = kernel.width_bits;
    colx_cv src = {}, res = {};
    src.colx_cv_data =
        const_cast<uint8_t*>(place.codes(window)) + uint64_t{first} * kernel.width_bits / 8;
    src.colx_cv_encoding_context = &encoding;
    res.colx_cv_bits = place.bits(window) + first / 64;
    res.colx_cv_num_of_rows = src.colx_cv_num_of_rows = std::min(chunk_rows, place.rows() - first);
    colx_kctx kctx = {};
    const uint64_t constant = scan_constants(kernel).lo;
    const void* const args[] = {&constant};
    reinterpret_cast<colx_scan_fn>(colx_dispatch_table[kernel.slot()])(&res, &src, args, &kctx);
    return res.colx_cv_num_set;
  }

  void run(unsigned window, unsigned threads) {
    next = hits = 0;
    run_on_cores(threads, [=, this](unsigned) {
      uint32_t found = 0;
      for (uint32_t first; (first = next.fetch_add(chunk_rows)) < place.rows();)
        found += scan_chunk(window, first);
      hits += found;
    });
  }
};

// The chunks of several threads against one call for all rows.
std::string fault_of(ParallelScan& scan, unsigned threads) {
  uint64_t* const bits = scan.place.bits(0);
  const uint32_t words = scan.place.rows() / 64;
  scan.place.run(0);
  const std::vector<uint64_t> expected(bits, bits + words);
  std::memset(bits, 0x5A, 8 * uint64_t{words});
  scan.run(0, threads);
  const bool same = scan.hits == scan.place.count() &&
                    std::memcmp(bits, expected.data(), 8 * uint64_t{words}) == 0;
  return same ? "" : "several threads find other rows";
}

}  // namespace

Case parallel_scan_case(unsigned width_bits, unsigned threads, const SizeClass& size) {
  const ScanKernel kernel = {COLX_OPC_EQ, COLX_ENC_DICT, width_bits, false};
  const auto prepare = [=] {
    const auto scan = std::make_shared<ParallelScan>(kernel, size);
    Contest contest;
    contest.fault = fault_of(*scan, threads);
    contest.kernel = [=](unsigned window) { scan->run(window, threads); };
    contest.scalar = [=](unsigned window) { scan->run(window, 1); };
    contest.limit = [=, limit = scan_limit(width_bits)](unsigned window) {
      limit(scan->place.codes(window), reinterpret_cast<uint8_t*>(scan->place.bits(window)),
            scan->place.rows());
    };
    return contest;
  };
  const uint64_t rows = scan_rows(size, width_bits);
  const std::string by = std::to_string(threads) + (threads == 1 ? " thread" : " threads");
  return {"scan of " + std::to_string(width_bits) + "-bit codes by " + by,
          "",
          size,
          rows,
          rows * (width_bits + 1) / 8,
          prepare};
}

}  // namespace colx::bench
