#include "bench/support/parallel_join.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/core_threads.h"
#include "bench/support/random_stream.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint64_t partitions = 64;
constexpr uint64_t build_rows = 16 << 10;  // of a partition; half of its slots
constexpr uint64_t probe_rows = 32 << 10;  // of a partition; all of them hit
constexpr unsigned bucket_bits = 13;
constexpr uint64_t bucket_bytes = uint64_t{64} << bucket_bits;
constexpr uint64_t overflow_bytes = bucket_bytes / 4;
constexpr uint64_t most_records = 2 * probe_rows;

struct PartitionSide {
  colx_cv keys = {};
  colx_cv payload = {};
  colx_enc_ctx keys_encoding = {};
  colx_enc_ctx payload_encoding = {};

  PartitionSide(const uint64_t* hashes, uint64_t rows, uint64_t first_rid) {
    keys_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
    payload_encoding.colx_enc_ctx_flags = COLX_AUTORID;
    keys.colx_cv_data = const_cast<uint64_t*>(hashes);
    keys.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
    keys.colx_cv_encoding_context = &keys_encoding;
    payload.colx_cv_base_rid = first_rid;
    payload.colx_cv_encoding_context = &payload_encoding;
  }
};

struct ParallelJoin {
  std::vector<uint64_t> build_hashes = std::vector<uint64_t>(partitions * build_rows);
  std::vector<uint64_t> probe_hashes = std::vector<uint64_t>(partitions * probe_rows);
  uint8_t* buckets = lasting_bytes(partitions * bucket_bytes);
  uint8_t* overflow = lasting_bytes(partitions * overflow_bytes);
  std::vector<uint8_t*> outputs;  // one a thread
  std::vector<void*> bucket_arrays, over_cur, over_end;
  std::atomic<uint64_t> next{0};
  std::atomic<uint64_t> records{0};
  std::atomic<bool> stopped{false};

  explicit ParallelJoin(unsigned most_threads)
      : bucket_arrays(partitions), over_cur(partitions), over_end(partitions) {
    for (unsigned thread = 0; thread < most_threads; ++thread)
      outputs.push_back(lasting_bytes(16 * most_records));
    RandomNumbers random(partitions);
    for (uint64_t& hash : build_hashes) hash = random.next();
    for (uint64_t row = 0; row < probe_hashes.size(); ++row) {
      const uint64_t partition = row / probe_rows;
      probe_hashes[row] = build_hashes[partition * build_rows + random.below(build_rows)];
    }
    for (uint64_t p = 0; p < partitions; ++p) bucket_arrays[p] = buckets + p * bucket_bytes;
  }

  colx_ht table() {
    colx_ht ht = {};
    ht.colx_ht_type = COLX_HT_K4V8;
    ht.colx_ht_bucket_hi = ht.colx_ht_part_hi = 31 + bucket_bits;
    ht.colx_ht_part_shift = 32 + bucket_bits;
    ht.colx_ht_buckets = bucket_arrays.data();
    ht.colx_ht_over_cur = over_cur.data();
    ht.colx_ht_over_end = over_end.data();
    return ht;
  }

  uint64_t join(uint64_t p, uint8_t* output) {
    std::memset(bucket_arrays[p], 0, bucket_bytes);
    over_cur[p] = overflow + p * overflow_bytes;
    over_end[p] = overflow + (p + 1) * overflow_bytes;
    colx_ht ht = table();
    PartitionSide build(build_hashes.data() + p * build_rows, build_rows, p * build_rows);
    colx_kctx kctx = {};
    bool good = colx_ht_build_dydi(&ht, &build.keys, &build.payload, static_cast<int32_t>(p),
                                   nullptr, &kctx) == COLX_DONE;

    PartitionSide probe(probe_hashes.data() + p * probe_rows, probe_rows, p * probe_rows);
    ht.colx_ht_buckets += p;
    colx_cv res = {};
    res.colx_cv_data = output;
    res.colx_cv_num_of_rows = most_records;
    kctx = {};
    good = good &&
           colx_ht_probe_dydi(&res, &probe.keys, &probe.payload, &ht, nullptr, &kctx) == COLX_DONE;
    if (!good) stopped = true;
    return res.colx_cv_num_of_rows;
  }

  void run(unsigned threads) {
    next = records = 0;
    run_on_cores(threads, [this](unsigned thread) {
      uint64_t found = 0;
      for (uint64_t p; (p = next.fetch_add(1)) < partitions;) found += join(p, outputs[thread]);
      records += found;
    });
  }
};

std::string fault_of(ParallelJoin& join, unsigned threads) {
  join.run(1);
  const uint64_t expected = join.records;
  if (join.stopped || expected < join.probe_hashes.size()) return "rows are missing";
  join.run(threads);
  return join.stopped || join.records != expected ? "several threads find other rows" : "";
}

}  // namespace

Case parallel_join_case(unsigned threads, const SizeClass& size) {
  const auto prepare = [=] {
    const auto join = std::make_shared<ParallelJoin>(threads);
    Contest contest;
    contest.fault = fault_of(*join, threads);
    contest.kernel = [=](unsigned) { join->run(threads); };
    contest.scalar = [=](unsigned) { join->run(1); };
    return contest;
  };
  const uint64_t rows = partitions * (build_rows + probe_rows);
  const uint64_t bytes = partitions * (bucket_bytes + 16 * probe_rows) + 8 * rows;
  const std::string by = std::to_string(threads) + (threads == 1 ? " thread" : " threads");
  return {"join of 64 partitions by " + by, "", size, rows, bytes, prepare};
}

}  // namespace colx::bench
