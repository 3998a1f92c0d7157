// Hash joins on 32-bit keys: hashing against the plain loop, build and probe of bucket tables
// against std::unordered_multimap, and out of cache against a loop of independent random reads of
// as many cache lines. The tables of both sides are emptied before the clock starts. A table in L2
// is built of many sides in turns and probed with a long column: no branch predictor knows the
// rows.
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/hash_cases.h"
#include "bench/support/join_tables.h"
#include "bench/support/random_stream.h"
#include "bench/support/working_set.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr char unique_keys[] = "colx_ht_probe.*_hash_values_payload \\d+% hit";
constexpr char keys_of_three_rows[] = "colx_ht_probe.*_hash_values_payload three a key.*";
constexpr Target targets[] = {
    {"hash, times the plain loop of calls", "colx_hash_hashfn.*", &in_l2, Figure::times_scalar,
     0.9},
    {"build, times std::unordered_multimap", "colx_ht_build.*_hash_values_.*", &in_l2,
     Figure::times_scalar, 3.0},
    {"build, times std::unordered_multimap", "colx_ht_build.*_hash_values_.*", &table_in_memory,
     Figure::times_scalar, 5.0},
    {"probe of unique keys, times std::unordered_multimap", unique_keys, &in_l2,
     Figure::times_scalar, 3.0},
    {"probe of unique keys, times std::unordered_multimap", unique_keys, &table_in_memory,
     Figure::times_scalar, 5.0},
    {"probe of unique keys, of independent random reads", unique_keys, &table_in_memory,
     Figure::of_limit, 0.45},
    {"probe of keys of three rows, times std::unordered_multimap", keys_of_three_rows, &in_l2,
     Figure::times_scalar, 3.0},
    {"probe of keys of three rows, times std::unordered_multimap", keys_of_three_rows,
     &table_in_memory, Figure::times_scalar, 5.0},
};

const char* form_name(uint32_t type) {
  return type == COLX_HT_K4V4 ? "k4v4" : "k4v8";
}

// ---- build

// A map whose nodes come one behind the other out of room made before, and are never given back:
// the least that a map of nodes can cost.
struct PooledMap {
  using Map = std::pmr::unordered_multimap<uint32_t, uint32_t>;

  explicit PooledMap(uint64_t rows) : room(rows * 48 + (1 << 20)), area(lasting_bytes(room)) {}

  void fill(const JoinSide& side) {
    std::pmr::monotonic_buffer_resource pool(area, room, std::pmr::null_memory_resource());
    Map* const map = new (storage) Map(&pool);  // goes without a destructor, as its nodes do
    map->reserve(side.keys.size());
    for (size_t row = 0; row < side.keys.size(); ++row)
      map->emplace(side.keys[row], side.values[row]);
    asm volatile("" : : "r"(map) : "memory");
  }

  uint64_t room;
  uint8_t* area;
  alignas(Map) unsigned char storage[sizeof(Map)];
};

void fill_map(MultiMap& map, const JoinSide& side) {
  for (size_t row = 0; row < side.keys.size(); ++row) map.emplace(side.keys[row], side.values[row]);
}

uint32_t build_table(BucketTable& table, JoinColumn& column) {
  colx_kctx kctx = {};
  return colx_ht_build_dydi(&table.ht, &column.keys, &column.payload, -1, hash_of_4_bytes, &kctx);
}

// Calls `visit` with key and value of every slot of the chain.
void walk_chain(const BucketTable& table, uint64_t bucket_number,
                const std::function<void(uint32_t key, uint64_t value)>& visit) {
  const bool narrow = table.shape.type == COLX_HT_K4V4;
  for (const uint8_t* bucket = table.buckets + bucket_number * 64;;) {
    for (unsigned slot = 0; slot < (*bucket & 15u); ++slot) {
      uint32_t key;
      uint64_t value = 0;
      std::memcpy(&key, bucket + 4 + 4 * slot, 4);
      std::memcpy(&value, bucket + (narrow ? 32 + 4 * slot : 24 + 8 * slot), narrow ? 4 : 8);
      visit(key, value);
    }
    if ((*bucket & 0x80) == 0) return;
    std::memcpy(&bucket, bucket + 56, 8);
  }
}

// Every slot holds a row that leads to its bucket, and there are as many as rows.
std::string fault_of_build(const BucketTable& table, const JoinSide& side, bool codes) {
  uint64_t slots = 0;
  bool right = true;
  std::vector<bool> seen(side.keys.size());
  for (uint64_t bucket = 0; bucket < table.shape.buckets(); ++bucket)
    walk_chain(table, bucket, [&](uint32_t key, uint64_t row) {
      ++slots;
      right = right && row < side.keys.size() && !seen[row] &&
              key == (codes ? side.keys[row] : static_cast<uint32_t>(side.hashes[row])) &&
              (side.hashes[row] >> 32 & (table.shape.buckets() - 1)) == bucket;
      if (row < seen.size()) seen[row] = true;
    });
  return right && slots == side.keys.size() ? "" : "the table differs from its rows";
}

// A table and the columns that are built into it in turns.
struct BuildCall {
  std::vector<std::unique_ptr<JoinSide>> sides;
  std::vector<std::unique_ptr<JoinColumn>> columns;
  std::vector<LineNumbers> lines;
  std::unique_ptr<BucketTable> table;
  std::unique_ptr<PooledMap> pooled;
  MultiMap map;
  size_t turn = 0;

  BuildCall(const JoinShape& shape, bool codes, const SizeClass& size) {
    table = std::make_unique<BucketTable>(shape, size);
    if (codes) table->ht.colx_ht_type |= COLX_HT_GD;
    const unsigned different_sides = size.windows == 1 ? 40 : 1;
    for (unsigned number = 0; number < different_sides; ++number) {
      sides.push_back(std::make_unique<JoinSide>(build_side(shape, number)));
      columns.push_back(std::make_unique<JoinColumn>(*sides.back(), shape, codes));
      lines.push_back(table->first_buckets(*sides.back()));
    }
    map.reserve(shape.build_rows());
    pooled = std::make_unique<PooledMap>(shape.build_rows());
  }
  size_t next() { return turn = (turn + 1) % sides.size(); }
};

Case build_case(JoinShape shape, bool codes, const SizeClass& size) {
  shape.bucket_log2 = bucket_log2_for(size);
  const auto prepare = [=] {
    const auto call = std::make_shared<BuildCall>(shape, codes, size);
    Contest contest;
    for (size_t n = 0; n < call->sides.size() && contest.fault.empty(); ++n) {
      call->table->clear();
      contest.fault = build_table(*call->table, *call->columns[n]) == COLX_DONE
                          ? fault_of_build(*call->table, *call->sides[n], codes)
                          : "the overflow room is too small";
    }
    contest.before_kernel = [=](unsigned) { call->table->clear(); };
    contest.kernel = [=](unsigned) { build_table(*call->table, *call->columns[call->next()]); };
    contest.before_scalar = [=](unsigned) { call->map.clear(); };
    contest.scalar = [=](unsigned) { fill_map(call->map, *call->sides[call->next()]); };
    contest.peer = [=](unsigned) { call->pooled->fill(*call->sides[call->next()]); };
    contest.limit = [=](unsigned) {
      const LineNumbers& lines = call->lines[call->next()];
      const uint64_t sum = read_lines(call->table->buckets, lines.data(), lines.size());
      asm volatile("" : : "r"(sum));
    };
    return contest;
  };
  const std::string name = std::string("colx_ht_build_") + form_name(shape.type) +
                           (codes ? "_gd_payload" : "_hash_values_payload") +
                           (shape.rows_per_key == 1 ? " unique" : " three rows a key");
  return {name, "pooled map", size, shape.build_rows(), shape.build_rows() * 64, prepare};
}

// ---- probe

// What is probed; the map of a large one takes long to fill.
struct ProbedSide {
  JoinShape shape;
  JoinSide rows;
  MultiMap map;

  explicit ProbedSide(const JoinShape& of) : shape(of), rows(build_side(of)) {
    map.reserve(rows.keys.size());
    fill_map(map, rows);
  }
};

// The same for cases of the same rows that come one after the other.
std::shared_ptr<ProbedSide> probed_side(const JoinShape& shape) {
  static std::shared_ptr<ProbedSide> latest;
  const bool same = latest != nullptr && latest->shape.build_rows() == shape.build_rows() &&
                    latest->shape.rows_per_key == shape.rows_per_key;
  if (!same) {
    latest.reset();  // before the next one takes its room
    latest = std::make_shared<ProbedSide>(shape);
  }
  return latest;
}

struct ProbeCall {
  std::shared_ptr<ProbedSide> build;
  std::unique_ptr<JoinSide> probe;
  std::unique_ptr<BucketTable> table;
  std::unique_ptr<JoinColumn> column;
  LineNumbers lines;
  std::vector<uint64_t> out;  // of a batch
  uint64_t rows;              // of a window
  JoinShape shape;

  // The window's rows in batches; `after` looks at the records of each.
  template <class Batch, class After>
  void run_batches(unsigned window, Batch batch, After after) {
    for (uint64_t row = 0; row < rows; row += rows_per_batch)
      after(batch(window * rows + row, std::min(rows_per_batch, rows - row)));
  }
  uint64_t probe_batch(uint64_t first, uint64_t count) {
    colx_kctx kctx = {};
    colx_cv res = {};
    column->window(first, count, shape);
    res.colx_cv_data = out.data();
    res.colx_cv_num_of_rows = static_cast<uint32_t>(out.size() / 2);
    colx_ht_probe_dydi(&res, &column->keys, &column->payload, &table->ht, hash_of_4_bytes, &kctx);
    return res.colx_cv_num_of_rows;
  }
  uint64_t probe_map_batch(uint64_t first, uint64_t count) {
    return probe_map(build->map, &probe->keys[first], &probe->values[first], count, out.data());
  }
  template <class After>
  void run(unsigned window, After after) {
    run_batches(
        window, [this](uint64_t f, uint64_t n) { return probe_batch(f, n); }, after);
  }
  template <class After>
  void run_map(unsigned window, After after) {
    run_batches(
        window, [this](uint64_t f, uint64_t n) { return probe_map_batch(f, n); }, after);
  }
};

void nothing(uint64_t) {}

// The records of both in one order.
std::string fault_of_probe(ProbeCall& call) {
  using Records = std::vector<std::pair<uint64_t, uint64_t>>;
  Records expected, found;
  const auto add_to = [&call](Records& all) {
    return [&call, &all](uint64_t count) {
      for (uint64_t i = 0; i < count; ++i) all.emplace_back(call.out[2 * i], call.out[2 * i + 1]);
    };
  };
  call.run_map(0, add_to(expected));
  call.run(0, add_to(found));
  std::sort(expected.begin(), expected.end());
  std::sort(found.begin(), found.end());
  return found == expected && !found.empty() ? "" : "the kernel differs from the map";
}

// A ladder of table sizes, probed with enough rows for any of them.
constexpr SizeClass table_ladder{"table", 0, 4};

uint64_t probing_rows(const JoinShape& shape, const SizeClass& size) {
  if (size.bytes == 0) return 40 * rows_per_batch;
  return size.windows == 1 ? 40 * rows_per_batch : shape.build_rows() / size.windows;
}

std::shared_ptr<ProbeCall> probe_call(const JoinShape& shape, bool codes, const SizeClass& size) {
  const auto call = std::make_shared<ProbeCall>();
  call->shape = shape;
  call->rows = probing_rows(shape, size);
  call->build = probed_side(shape);
  call->probe =
      std::make_unique<JoinSide>(probe_side(shape, call->build->rows, call->rows * size.windows));
  call->table = std::make_unique<BucketTable>(shape, size);
  if (codes) call->table->ht.colx_ht_type |= COLX_HT_GD;
  JoinColumn building(call->build->rows, shape, codes);
  build_table(*call->table, building);
  call->column = std::make_unique<JoinColumn>(*call->probe, shape, codes);
  call->lines = call->table->first_buckets(*call->probe);
  call->out.resize(2 * (rows_per_batch * shape.rows_per_key + 1));
  return call;
}

std::string kilobytes_of(const JoinShape& shape) {
  return std::to_string(shape.buckets() * 64 >> 10) + " KB table";
}

Case probe_case(JoinShape shape, bool codes, const SizeClass& size) {
  if (shape.bucket_log2 == 0) shape.bucket_log2 = bucket_log2_for(size);
  const auto prepare = [=] {
    const auto call = probe_call(shape, codes, size);
    Contest contest;
    contest.fault = fault_of_probe(*call);
    contest.kernel = [=](unsigned window) { call->run(window, nothing); };
    contest.scalar = [=](unsigned window) { call->run_map(window, nothing); };
    contest.limit = [=](unsigned window) {
      const uint64_t sum =
          read_lines(call->table->buckets, &call->lines[window * call->rows], call->rows);
      asm volatile("" : : "r"(sum));
    };
    return contest;
  };
  const uint64_t rows = probing_rows(shape, size);
  const std::string name = std::string("colx_ht_probe_") + form_name(shape.type) +
                           (codes ? "_gd_payload " : "_hash_values_payload ") +
                           (shape.rows_per_key == 1 ? "" : "three a key, ") +
                           std::to_string(shape.hit_percent) + "% hit" +
                           (size.bytes == 0 ? ", " + kilobytes_of(shape) : "");
  return {name, "", size, rows, rows * (8 + 4 + 64), prepare};
}

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const unsigned width_bits : {32u, 64u}) cases.push_back(hash_case(width_bits, in_l2));
  for (const SizeClass* size : {&in_l2, &table_in_memory}) {
    for (const uint32_t type : {COLX_HT_K4V4, COLX_HT_K4V8})
      for (const unsigned rows_per_key : {1u, 3u})
        cases.push_back(build_case({type, 0, rows_per_key, 100}, false, *size));
    cases.push_back(build_case({COLX_HT_K4V4, 0, 1, 100}, true, *size));
    for (const uint32_t type : {COLX_HT_K4V4, COLX_HT_K4V8})
      for (const unsigned hit_percent : {100u, 50u, 10u})
        cases.push_back(probe_case({type, 0, 1, hit_percent}, false, *size));
    cases.push_back(probe_case({COLX_HT_K4V4, 0, 3, 100}, false, *size));
    cases.push_back(probe_case({COLX_HT_K4V4, 0, 1, 100}, true, *size));
  }
  for (unsigned bucket_log2 = 22; bucket_log2 >= 8; bucket_log2 -= 2)  // 256 MB to 16 KB
    cases.push_back(probe_case({COLX_HT_K4V4, bucket_log2, 1, 100}, false, table_ladder));
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench
