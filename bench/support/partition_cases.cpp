#include "bench/support/partition_cases.h"

#include <bit>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/scalar_partition.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint64_t record_bytes = 16;
constexpr unsigned first_bit = 20;  // of the partition number
constexpr uint64_t first_rid = 1'000'000;

const char* kernel_name(RecordSource source) {
  switch (source) {
    case RecordSource::values:
      return "colx_partition_rid_hash_values_payload";
    case RecordSource::row_ids:
      return "colx_partition_rid_hash_values_autorid";
    case RecordSource::records:
      return "colx_partition_rid_hashrid";
  }
  return nullptr;
}

// Bytes that a row reads.
uint64_t source_bytes(RecordSource source) {
  return source == RecordSource::row_ids ? 8 : 16;
}

struct PartitionCall {
  RecordSource source;
  unsigned partitions;
  uint64_t rows;
  SizeClass size;
  std::vector<std::vector<uint8_t*>> begins;  // per window, and the last one's end
  std::vector<uint8_t*> cursors;
  colx_part_set parts = {};
  colx_cv src = {};
  colx_cv payload = {};
  colx_enc_ctx src_encoding = {};
  colx_enc_ctx payload_encoding = {};

  // Hash values and behind them the payload, or records.
  const uint64_t* words(unsigned window) const {
    return reinterpret_cast<const uint64_t*>(random_bytes(size) + window * size.bytes);
  }
  uint8_t* output(unsigned window) const { return output_bytes(size) + window * size.bytes; }
  uint64_t hash(unsigned window, uint64_t row) const {
    return words(window)[source == RecordSource::records ? 2 * row + 1 : row];
  }
  uint64_t mask() const { return (uint64_t{partitions} << first_bit) - 1; }

  void reset(unsigned window) {
    std::memcpy(cursors.data(), begins[window].data(), partitions * sizeof(uint8_t*));
  }

  uint32_t run(unsigned window) {
    reset(window);
    auto* const in = const_cast<uint64_t*>(words(window));
    colx_kctx kctx = {};
    src.colx_cv_data = in;
    src.colx_cv_encoding_context = &src_encoding;
    payload.colx_cv_data = in + rows;
    payload.colx_cv_encoding_context = &payload_encoding;
    parts.colx_part_cursors = reinterpret_cast<void**>(cursors.data());
    parts.colx_part_ends = reinterpret_cast<void**>(begins[window].data() + 1);
    return colx_partition_dydi(&parts, &src, &payload, nullptr, &kctx);
  }

  uint64_t run_loop(unsigned window) {
    reset(window);
    const uint64_t* const in = words(window);
    const ScatterTarget target = {mask(), first_bit, cursors.data(), begins[window].data() + 1};
    switch (source) {
      case RecordSource::values:
        return scalar_scatter_values(in, in + rows, rows, target);
      case RecordSource::row_ids:
        return scalar_scatter_row_ids(in, first_rid, rows, target);
      case RecordSource::records:
        return scalar_scatter_records(in, rows, target);
    }
    return 0;
  }
};

std::shared_ptr<PartitionCall> partition_call(RecordSource source, unsigned partitions,
                                              uint64_t rows, const SizeClass& size) {
  auto call = std::make_shared<PartitionCall>();
  call->source = source;
  call->partitions = partitions;
  call->rows = rows;
  call->size = size;
  call->cursors.resize(partitions);
  for (unsigned window = 0; window < size.windows; ++window) {
    std::vector<uint64_t> counts(partitions);
    for (uint64_t row = 0; row < rows; ++row) {
      ++counts[(call->hash(window, row) & call->mask()) >> first_bit];
    }
    std::vector<uint8_t*> begins = {call->output(window)};
    for (const uint64_t count : counts) begins.push_back(begins.back() + count * record_bytes);
    call->begins.push_back(begins);
  }
  call->parts.colx_part_type = COLX_PART_SERVED | COLX_PART_RID;
  call->parts.colx_part_hi = static_cast<uint8_t>(first_bit + std::countr_zero(partitions) - 1);
  call->parts.colx_part_shift = first_bit;
  call->src_encoding.colx_enc_ctx_flags =
      source == RecordSource::records ? COLX_HASHRID : COLX_HASH_VALUES;
  call->payload_encoding.colx_enc_ctx_flags = source == RecordSource::row_ids ? COLX_AUTORID : 0;
  call->payload.colx_cv_base_rid = first_rid;
  call->src.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
  return call;
}

// Every record of the loop stands in its row's partition, in the order of the rows.
bool loop_is_right(const PartitionCall& call) {
  std::vector<const uint8_t*> at(call.begins[0].begin(), call.begins[0].end());
  for (uint64_t row = 0; row < call.rows; ++row) {
    const uint64_t hash = call.hash(0, row);
    const uint8_t*& record = at[(hash & call.mask()) >> first_bit];
    uint64_t words[2];
    std::memcpy(words, record, record_bytes);
    const uint64_t first = call.source == RecordSource::row_ids   ? first_rid + row
                           : call.source == RecordSource::records ? call.words(0)[2 * row]
                                                                  : call.words(0)[call.rows + row];
    if (words[0] != first || words[1] != hash) return false;
    record += record_bytes;
  }
  return true;
}

std::string fault_of(PartitionCall& call) {
  const uint64_t bytes = call.rows * record_bytes;
  uint8_t* const out = call.output(0);
  if (call.run_loop(0) != call.rows || !loop_is_right(call)) return "the plain loop is wrong";
  const std::vector<uint8_t> expected(out, out + bytes);
  std::memset(out, 0x5A, bytes);
  if (call.run(0) != COLX_DONE || std::memcmp(out, expected.data(), bytes) != 0) {
    return "the kernel differs from the plain loop";
  }
  return "";
}

}  // namespace

Case partition_case(RecordSource source, unsigned partitions, const SizeClass& size) {
  const uint64_t row_bytes = source_bytes(source) + record_bytes;
  const uint64_t rows = size.bytes / row_bytes;
  const auto prepare = [=] {
    const auto call = partition_call(source, partitions, rows, size);
    Contest contest;
    contest.fault = fault_of(*call);
    contest.kernel = [=](unsigned window) { call->run(window); };
    contest.scalar = [=](unsigned window) { call->run_loop(window); };
    return contest;
  };
  const std::string name = std::string(kernel_name(source)) + " into " + std::to_string(partitions);
  return {name, "", size, rows, rows * row_bytes, prepare};
}

}  // namespace colx::bench
