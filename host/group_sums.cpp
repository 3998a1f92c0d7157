#include "host/group_sums.h"

#include <algorithm>

namespace colx::host {
namespace {

constexpr uint64_t most_groups = uint64_t{1} << 32;

bool is_summed(uint32_t value_type) {
  return value_type == COLX_TYPE_FLOAT || value_type == COLX_TYPE_DOUBLE ||
         value_type == COLX_TYPE_DSB;
}

size_t accumulator_bytes(uint32_t value_type) {
  return value_type == COLX_TYPE_FLOAT ? sizeof(float) : sizeof(double);
}

bool has_width(uint32_t value_type, uint32_t bits) {
  if (value_type == COLX_TYPE_FLOAT) return bits == 32;
  if (value_type == COLX_TYPE_DOUBLE) return bits == 64;
  return bits == 8 || bits == 16 || bits == 32 || bits == 64;
}

template <class T>
void add_each(uint8_t* sums, const uint8_t* others, uint64_t groups) {
  T* const to = reinterpret_cast<T*>(sums);
  const T* const from = reinterpret_cast<const T*>(others);
  for (uint64_t group = 0; group < groups; ++group) to[group] += from[group];
}

}  // namespace

Result<NumberRows> number_rows(const StoredColumn& column, size_t chunk) {
  const ColumnFormat& format = column.format;
  if (format.encoding != Encoding::fixed || !is_summed(format.value_type))
    return make_error(
        "the column is not numeric: write it with store_floats(), store_doubles() "
        "or store_dsb()");
  if (chunk >= column.chunks.size())
    return make_error("chunk %zu of a column with %zu chunks", chunk, column.chunks.size());
  const Chunk& part = column.chunks[chunk];
  if (part.image_bytes || part.runs)
    return make_error("chunk %zu is %s; sums read plain rows", chunk,
                      part.runs ? "run-length coded" : "compressed");
  return NumberRows{part.data.data(), part.rows, format.value_type, format.width_bits, false};
}

Result<GroupSums> GroupSums::create(const Library& library, uint32_t value_type, uint64_t groups) {
  if (!is_summed(value_type))
    return make_error("type %u has no sums: use COLX_TYPE_FLOAT, COLX_TYPE_DOUBLE or COLX_TYPE_DSB",
                      value_type);
  if (groups == 0 || groups > most_groups)
    return make_error("a key space of %llu groups: use 1 to 2^32",
                      static_cast<unsigned long long>(groups));
  GroupSums sums;
  sums.sum_ = library.record().colx_sctx_gby_sum;
  if (!sums.sum_) return make_error("%s: has no colx_gby_sum_dydi", library.file().c_str());
  sums.value_type_ = value_type;
  sums.groups_ = groups;
  sums.sums_ = StreamBuffer(groups * accumulator_bytes(value_type));
  return sums;
}

Result<void> GroupSums::check(const NumberRows& numbers) const {
  if (numbers.value_type != value_type_)
    return make_error("numbers of type %u for sums of type %u", numbers.value_type, value_type_);
  if (!has_width(value_type_, numbers.width_bits))
    return make_error("numbers of type %u have no width of %u bits", value_type_,
                      numbers.width_bits);
  return {};
}

Result<void> GroupSums::call(const NumberRows& numbers, const uint32_t* keys) {
  colx_enc_ctx encoding{};
  encoding.colx_enc_ctx_type = value_type_;
  encoding.colx_enc_ctx_width = numbers.width_bits;
  encoding.colx_enc_ctx_flags = COLX_FIXED | (numbers.native ? COLX_NATIVE : 0);
  // Kernels only read rows and keys; the records have no const members.
  colx_cv source{};
  source.colx_cv_data = const_cast<void*>(numbers.data);
  source.colx_cv_num_of_rows = numbers.rows;
  source.colx_cv_encoding_context = &encoding;
  colx_cv groups{};
  groups.colx_cv_data = const_cast<uint32_t*>(keys);
  colx_cv result{};
  result.colx_cv_data = sums_.data();
  if (const uint32_t status = sum_(&result, &source, keys ? &groups : nullptr, nullptr))
    return make_error("colx_gby_sum_dydi returned status %u", status);
  return {};
}

Result<void> GroupSums::add(const NumberRows& numbers, std::span<const uint32_t> keys) {
  if (auto sound = check(numbers); !sound) return sound;
  if (keys.size() != numbers.rows)
    return make_error("%zu group keys for %u rows", keys.size(), numbers.rows);
  // The sum writes wherever a key points, so all keys are looked at first.
  uint32_t largest = 0;
  for (const uint32_t key : keys) largest = std::max(largest, key);
  if (!keys.empty() && largest >= groups_) {
    const auto row = std::find(keys.begin(), keys.end(), largest) - keys.begin();
    return make_error("row %td has group key %u, but there are %llu groups", row, largest,
                      static_cast<unsigned long long>(groups_));
  }
  if (keys.empty()) return {};
  return call(numbers, keys.data());
}

Result<void> GroupSums::add_all(const NumberRows& numbers) {
  if (auto sound = check(numbers); !sound) return sound;
  return call(numbers, nullptr);
}

Result<void> GroupSums::merge(const GroupSums& other) {
  if (other.value_type_ != value_type_ || other.groups_ != groups_)
    return make_error("sums of type %u over %llu groups do not go into type %u over %llu",
                      other.value_type_, static_cast<unsigned long long>(other.groups_),
                      value_type_, static_cast<unsigned long long>(groups_));
  if (value_type_ == COLX_TYPE_FLOAT)
    add_each<float>(sums_.data(), other.sums_.data(), groups_);
  else if (value_type_ == COLX_TYPE_DOUBLE)
    add_each<double>(sums_.data(), other.sums_.data(), groups_);
  else
    add_each<uint64_t>(sums_.data(), other.sums_.data(), groups_);
  return {};
}

}  // namespace colx::host
