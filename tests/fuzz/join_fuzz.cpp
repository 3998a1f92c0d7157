// Any table shape and any keys: the build driver puts every row where the probe driver finds it,
// whatever room both of them are given at a time.
//
//   input: table type, 1 byte | bits of bucket, partition and low field, 1 byte | key layout, 1
//   byte |
//          rows of the build, 1 byte | room of a probe call, 1 byte | rows: length, 1 byte | tag,
//          1 byte | hash bits above the tag, 1 byte
//
// Buckets, keys and records are heap blocks of exactly the granted size. A model keeps the rows of
// each partition, bucket and key in lists.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace {

constexpr size_t head_bytes = 5;
constexpr size_t row_bytes = 3;
constexpr unsigned bucket_bytes = 64;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "join_fuzz: %s\n", what);
  std::abort();
}

// The hash that a key of 8 bytes and more begins with; of shorter ones a sum.
uint64_t hash_of(const void* key, uint64_t length, uint64_t) {
  uint64_t hash = 0;
  if (length != 0) std::memcpy(&hash, key, std::min<uint64_t>(length, 8));
  return length >= 8 ? hash : hash * 0x100010001;
}

enum class Layout { hash_values, fixed, lv, lv_sep, lp, lp_sep, hashrid };

struct Row {
  uint64_t hash;
  std::vector<uint8_t> key;
};

// The rows as a column of a layout, each array a block of its own size.
struct Keys {
  std::unique_ptr<uint8_t[]> data, aux;
  colx_enc_ctx encoding = {};
  colx_cv cv = {};

  static std::unique_ptr<uint8_t[]> block(const std::vector<uint8_t>& bytes) {
    auto copy = std::make_unique<uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
  }
  void set(Layout layout, const std::vector<Row>& rows) {
    constexpr uint32_t flags[] = {COLX_HASH_VALUES, COLX_FIXED,  COLX_LV,     COLX_LV_SEP,
                                  COLX_LP,          COLX_LP_SEP, COLX_HASHRID};
    std::vector<uint8_t> bytes, more;
    const auto add = [](std::vector<uint8_t>& to, const void* from, size_t count) {
      const auto* const begin = static_cast<const uint8_t*>(from);
      to.insert(to.end(), begin, begin + count);
    };
    for (uint64_t r = 0; r < rows.size(); ++r) {
      const auto length = static_cast<uint16_t>(rows[r].key.size());
      const uint8_t* const key = rows[r].key.data();
      const uint64_t record[] = {length, reinterpret_cast<uintptr_t>(key)};
      const uint64_t rid_record[] = {r, rows[r].hash};
      if (layout == Layout::hash_values) add(bytes, &rows[r].hash, 8);
      if (layout == Layout::fixed) add(bytes, key, 8);
      if (layout == Layout::lv) add(bytes, &length, 2);
      if (layout == Layout::lv || layout == Layout::lv_sep) add(bytes, key, length);
      if (layout == Layout::lp) add(bytes, record, 16);
      if (layout == Layout::lp_sep) add(bytes, &record[1], 8);
      if (layout == Layout::lv_sep || layout == Layout::lp_sep) add(more, &length, 2);
      if (layout == Layout::hashrid) add(bytes, rid_record, 16);
    }
    data = block(bytes);
    aux = block(more);
    encoding.colx_enc_ctx_flags = flags[static_cast<size_t>(layout)];
    encoding.colx_enc_ctx_width = 64;
    cv.colx_cv_data = data.get();
    cv.colx_cv_aux = aux.get();
    cv.colx_cv_num_of_rows = static_cast<uint32_t>(rows.size());
    cv.colx_cv_encoding_context = &encoding;
  }
};

struct Table {
  unsigned tag_bits = 16;
  unsigned bucket_bits = 0, part_bits = 0, low_bits = 0;
  colx_ht ht = {};
  std::vector<std::unique_ptr<uint8_t[]>> arrays, overflow;
  std::vector<void*> buckets, cursors, ends;

  void set(uint32_t type, uint8_t bits) {
    tag_bits = type == COLX_HT_K2V8 || type == COLX_HT_K2V4 ? 16 : 32;
    bucket_bits = bits & 3;
    part_bits = bits >> 2 & 3;
    low_bits = bits >> 4 & 3;
    ht.colx_ht_type = type;
    ht.colx_ht_bucket_hi = static_cast<uint8_t>(tag_bits + bucket_bits - 1);
    ht.colx_ht_part_hi = static_cast<uint8_t>(ht.colx_ht_bucket_hi + part_bits);
    ht.colx_ht_part_shift = static_cast<uint8_t>(tag_bits + bucket_bits);
    ht.colx_ht_part_low_bits = static_cast<uint8_t>(low_bits);
    const size_t partitions = size_t{1} << (part_bits + low_bits);
    for (size_t p = 0; p < partitions; ++p) {
      arrays.push_back(std::make_unique<uint8_t[]>(bucket_bytes << bucket_bits));
      buckets.push_back(arrays.back().get());
    }
    cursors.resize(partitions);
    ends.resize(partitions);
    ht.colx_ht_buckets = buckets.data();
    ht.colx_ht_over_cur = cursors.data();
    ht.colx_ht_over_end = ends.data();
  }
  uint64_t partition(uint64_t hash) const {
    const uint64_t high = hash >> (tag_bits + bucket_bits) & ((1u << part_bits) - 1);
    return high << low_bits | (hash & ((1u << low_bits) - 1));
  }
  uint64_t bucket(uint64_t hash) const { return hash >> tag_bits & ((1u << bucket_bits) - 1); }
  uint32_t tag(uint64_t hash) const {
    return static_cast<uint32_t>(hash & ((uint64_t{1} << tag_bits) - 1));
  }
  void grant_bucket(uint64_t p) {
    overflow.push_back(std::make_unique<uint8_t[]>(bucket_bytes));
    cursors[p] = overflow.back().get();
    ends[p] = overflow.back().get() + bucket_bytes;
  }
};

colx_cv autorid(colx_enc_ctx& encoding, uint64_t base) {
  encoding = {};
  encoding.colx_enc_ctx_flags = COLX_AUTORID;
  colx_cv payload = {};
  payload.colx_cv_base_rid = base;
  payload.colx_cv_encoding_context = &encoding;
  return payload;
}

void build(Table& table, Keys& keys, const std::vector<Row>& rows) {
  colx_enc_ctx encoding;
  colx_cv payload = autorid(encoding, 0);
  colx_kctx kctx = {};
  for (size_t granted = 0; granted <= rows.size(); ++granted) {
    const uint32_t status = colx_ht_build_dydi(&table.ht, &keys.cv, &payload, -1, hash_of, &kctx);
    if (status == COLX_DONE) {
      require(kctx.colx_kctx_position == rows.size(), "a finished build stands elsewhere");
      return;
    }
    require(status == COLX_OVERFLOW_FULL, "a build ends with another status");
    require(kctx.colx_kctx_position < rows.size(), "a build stops behind its rows");
    table.grant_bucket(table.partition(rows[kctx.colx_kctx_position].hash));
  }
  require(false, "a build asks for more buckets than it has rows");
}

struct Record {
  uint64_t rid, value;
  auto operator<=>(const Record&) const = default;
};

// All records, drawn `room` at a time; more only where a row has more than that.
std::vector<Record> probe(Table& table, Keys& keys, size_t room) {
  colx_enc_ctx encoding;
  colx_cv payload = autorid(encoding, 0);
  colx_kctx kctx = {};
  std::vector<Record> all;
  for (;;) {
    const auto out = std::make_unique<Record[]>(room);
    colx_cv res = {};
    res.colx_cv_data = out.get();
    res.colx_cv_num_of_rows = static_cast<uint32_t>(room);
    const uint32_t status = colx_ht_probe_dydi(&res, &keys.cv, &payload, &table.ht, hash_of, &kctx);
    require(res.colx_cv_num_of_rows <= room, "more records counted than there is room for");
    all.insert(all.end(), out.get(), out.get() + res.colx_cv_num_of_rows);
    if (status == COLX_DONE) return all;
    require(status == COLX_PROBE_FULL, "a probe ends with another status");
    if (res.colx_cv_num_of_rows == 0) room = 2 * room + 1;
  }
}

std::vector<Record> model(const Table& table, const std::vector<Row>& built,
                          const std::vector<Row>& probed) {
  std::map<std::tuple<uint64_t, uint64_t, uint32_t>, std::vector<uint64_t>> lists;
  const auto place = [&](uint64_t hash) {
    return std::tuple(table.partition(hash), table.bucket(hash), table.tag(hash));
  };
  for (uint64_t r = 0; r < built.size(); ++r) lists[place(built[r].hash)].push_back(r);
  std::vector<Record> all;
  for (uint64_t r = 0; r < probed.size(); ++r)
    for (const uint64_t value : lists[place(probed[r].hash)]) all.push_back({r, value});
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < head_bytes) return 0;
  constexpr uint32_t types[] = {COLX_HT_K2V8, COLX_HT_K2V4, COLX_HT_K4V8, COLX_HT_K4V4};
  Table table;
  table.set(types[data[0] % 4], data[1]);
  const auto built_layout = static_cast<Layout>(data[2] % 7);
  const auto probed_layout = static_cast<Layout>(data[2] / 7 % 6);
  const bool same_hash = built_layout == Layout::hash_values || built_layout == Layout::hashrid;
  std::vector<Row> rows;
  for (const uint8_t* at = data + head_bytes; at + row_bytes <= data + size; at += row_bytes) {
    const uint64_t hash = uint64_t{at[1]} | uint64_t{at[2]} << table.tag_bits;
    const bool fixed = built_layout == Layout::fixed || probed_layout == Layout::fixed;
    std::vector<uint8_t> key(
        fixed || same_hash || probed_layout == Layout::hash_values ? 8 : at[0] % 40);
    if (key.size() >= 8) std::memcpy(key.data(), &hash, 8);
    for (size_t k = 8; k < key.size(); ++k) key[k] = at[1];
    for (size_t k = 0; k < key.size() && key.size() < 8; ++k) key[k] = at[1 + k % 2];
    Row row = {0, std::move(key)};
    row.hash = hash_of(row.key.data(), row.key.size(), 0);
    rows.push_back(std::move(row));
  }
  const size_t half = std::min<size_t>(rows.size(), data[3]);
  std::vector<Row> built(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(half));
  Keys built_keys, probed_keys;
  built_keys.set(built_layout, built);
  probed_keys.set(probed_layout, rows);
  build(table, built_keys, built);
  std::vector<Record> found = probe(table, probed_keys, data[4]);
  for (size_t i = 1; i < found.size(); ++i)
    require(found[i - 1].rid <= found[i].rid, "rows do not come in their order");
  std::vector<Record> expected = model(table, built, rows);
  std::sort(found.begin(), found.end());
  std::sort(expected.begin(), expected.end());
  require(found == expected, "the probe finds other rows than were built");
  return 0;
}
