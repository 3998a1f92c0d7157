#include "bench/support/parallel_join.h"

#include <sched.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

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

// Binds the calling thread to one core for as long as it exists. A pass is over before the system
// has spread new threads over the cores by itself.
class OnCore {
 public:
  explicit OnCore(int core) {
    sched_getaffinity(0, sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(core, &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  ~OnCore() { sched_setaffinity(0, sizeof before_, &before_); }
  OnCore(const OnCore&) = delete;
  OnCore& operator=(const OnCore&) = delete;

 private:
  cpu_set_t before_;
};

// The cores that this process may run on.
std::vector<int> own_cores() {
  cpu_set_t all;
  std::vector<int> cores;
  if (sched_getaffinity(0, sizeof all, &all) != 0) return cores;
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(core, &all)) cores.push_back(core);
  }
  return cores;
}

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
  uint8_t* outputs[2] = {lasting_bytes(16 * most_records), lasting_bytes(16 * most_records)};
  std::vector<void*> bucket_arrays, over_cur, over_end;
  std::vector<int> cores = own_cores();
  std::atomic<uint64_t> next{0};
  std::atomic<uint64_t> records{0};
  std::atomic<bool> stopped{false};

  ParallelJoin() : bucket_arrays(partitions), over_cur(partitions), over_end(partitions) {
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

  void work(uint8_t* output, int core) {
    const OnCore bound(core);
    uint64_t found = 0;
    for (uint64_t p; (p = next.fetch_add(1)) < partitions;) found += join(p, output);
    records += found;
  }

  void run(unsigned threads) {
    next = records = 0;
    if (threads == 1) return work(outputs[0], cores.back());
    std::thread second([this] { work(outputs[1], cores.front()); });
    work(outputs[0], cores.back());
    second.join();
  }
};

std::string fault_of(ParallelJoin& join) {
  join.run(1);
  const uint64_t expected = join.records;
  if (join.stopped || expected < join.probe_hashes.size()) return "rows are missing";
  join.run(2);
  return join.stopped || join.records != expected ? "two threads find other rows" : "";
}

}  // namespace

bool has_two_cores() {
  return own_cores().size() >= 2;
}

Case parallel_join_case(const SizeClass& size) {
  const auto prepare = [] {
    const auto join = std::make_shared<ParallelJoin>();
    Contest contest;
    contest.fault = fault_of(*join);
    contest.kernel = [=](unsigned) { join->run(2); };
    contest.scalar = [=](unsigned) { join->run(1); };
    return contest;
  };
  const uint64_t rows = partitions * (build_rows + probe_rows);
  const uint64_t bytes = partitions * (bucket_bytes + 16 * probe_rows) + 8 * rows;
  return {"join of 64 partitions by 2 threads", "", size, rows, bytes, prepare};
}

}  // namespace colx::bench
