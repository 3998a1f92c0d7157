// Prefix groups: sixteen neighbouring values of k bytes share a prefix of p bytes that is stored
// once. A group at any byte position:
//
//   p | prefix, p bytes | suffix of value 0, k - p bytes | suffix of value 1 | ...
//
// The last group holds what remains of the values. A vector of output is `values_per_vector`
// values: the prefix is shuffled into all of them once a group, the suffixes once a vector.
//
// Reads: up to 16 bytes from the byte behind a group's last suffix, but for the last group, which
// is read exactly. Writes: a vector may overwrite up to 15 bytes behind its values, the last group
// is written exactly. T values of k bytes thus need T * k + 15 bytes of room.
#include "kernels/decode/packed_masks.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/vectors.h"

namespace colx {
namespace {

constexpr uint32_t group_values = 16;
constexpr unsigned longest_value = 8;
constexpr size_t prefetch_bytes = 2048;

constexpr unsigned values_per_vector(unsigned length) {
  return length < 5 ? 4 : 2;
}

// By value length - 1 and prefix length; rows above the value length stay unused.
struct PrefixMasks {
  Mask rows[longest_value][longest_value + 1];
};

// byte_of(length, prefix, value, byte) gives the control of byte `byte` of value `value`.
template <class ByteRule>
constexpr PrefixMasks prefix_masks(ByteRule byte_of) {
  PrefixMasks masks{};
  for (unsigned length = 1; length <= longest_value; ++length)
    for (unsigned prefix = 0; prefix <= length; ++prefix)
      for (unsigned k = 0; k < 16; ++k)
        masks.rows[length - 1][prefix].bytes[k] =
            k < values_per_vector(length) * length
                ? static_cast<uint8_t>(byte_of(length, prefix, k / length, k % length))
                : 0x80;
  return masks;
}

constexpr PrefixMasks colx_prefix_decode_prefix_masks =
    prefix_masks([](unsigned, unsigned prefix, unsigned, unsigned byte) -> unsigned {
      return byte < prefix ? byte : 0x80;
    });

constexpr PrefixMasks colx_prefix_decode_suffix_masks =
    prefix_masks([](unsigned length, unsigned prefix, unsigned value, unsigned byte) -> unsigned {
      return byte < prefix ? 0x80 : value * (length - prefix) + (byte - prefix);
    });

static_assert(begins(colx_prefix_decode_prefix_masks.rows[4 - 1][1],
                     {0, 0x80, 0x80, 0x80, 0, 0x80, 0x80, 0x80,  //
                      0, 0x80, 0x80, 0x80, 0, 0x80, 0x80, 0x80}));
static_assert(begins(colx_prefix_decode_suffix_masks.rows[4 - 1][1],
                     {0x80, 0, 1, 2, 0x80, 3, 4, 5, 0x80, 6, 7, 8, 0x80, 9, 10, 11}));
static_assert(begins(colx_prefix_decode_prefix_masks.rows[8 - 1][2],
                     {0, 1, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,  //
                      0, 1, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80}));
static_assert(begins(colx_prefix_decode_suffix_masks.rows[8 - 1][2],
                     {0x80, 0x80, 0, 1, 2, 3, 4, 5, 0x80, 0x80, 6, 7, 8, 9, 10, 11}));

// Pointer, length and six zero bytes a value, four values a step.
void describe_values(uint8_t* records, const uint8_t* values, uint32_t count, uint32_t length) {
  const Vec one = from_halves(length, 0);
  const Vec four = from_halves(4 * length, 0);
  Vec lanes[4];
  lanes[0] = from_halves(reinterpret_cast<uintptr_t>(values), length);
#pragma GCC unroll 4
  for (unsigned i = 1; i < 4; ++i) lanes[i] = sum<8>(lanes[i - 1], one);
  uint32_t done = 0;
  for (; count - done >= 4; done += 4, records += 64) {
    prefetch(records + prefetch_bytes);
#pragma GCC unroll 4
    for (unsigned i = 0; i < 4; ++i) {
      store(records + 16 * i, lanes[i]);
      lanes[i] = sum<8>(lanes[i], four);
    }
  }
#pragma GCC unroll 4
  for (unsigned i = 0; i < 3; ++i)
    if (i < count - done) store(records + 16 * i, lanes[i]);
}

struct Place {
  const uint8_t* stream;
  uint8_t* out;
};

// One whole group; returns the places behind it.
template <unsigned length>
COLX_INLINE Place expand_group(Place at) {
  constexpr unsigned step_values = values_per_vector(length);
  prefetch(at.stream + prefetch_bytes);
  prefetch(at.out + prefetch_bytes);
  if constexpr (length >= 5) {  // a group is longer than a cache line
    prefetch(at.stream + prefetch_bytes + 64);
    prefetch(at.out + prefetch_bytes + 64);
  }
  const size_t prefix = *at.stream;
  const size_t step_bytes = step_values * (length - prefix);
  const Vec shared =
      shuffle(load(at.stream + 1), load(colx_prefix_decode_prefix_masks.rows[length - 1][prefix]));
  const Vec control = load(colx_prefix_decode_suffix_masks.rows[length - 1][prefix]);
  const uint8_t* suffixes = at.stream + 1 + prefix;
#pragma GCC unroll 8
  for (unsigned step = 0; step < group_values / step_values; ++step) {
    store(at.out + step * step_values * length, either(shuffle(load(suffixes), control), shared));
    suffixes += step_bytes;
  }
  // Straight from the prefix length: groups wait for each other here and should not for the steps.
  const size_t group_bytes = 1 + group_values * length - (group_values - 1) * prefix;
  return {at.stream + group_bytes, at.out + group_values * length};
}

template <unsigned length>
Place expand_groups(Place at, uint32_t groups) {
  for (; groups != 0; --groups) at = expand_group<length>(at);
  return at;
}

Place expand_groups(Place at, uint32_t groups, uint32_t length) {
  switch (length) {
    case 1:
      return expand_groups<1>(at, groups);
    case 2:
      return expand_groups<2>(at, groups);
    case 3:
      return expand_groups<3>(at, groups);
    case 4:
      return expand_groups<4>(at, groups);
    case 5:
      return expand_groups<5>(at, groups);
    case 6:
      return expand_groups<6>(at, groups);
    case 7:
      return expand_groups<7>(at, groups);
    default:
      return expand_groups<8>(at, groups);
  }
}

// The last group, byte by byte exact.
void copy_last_group(Place at, uint32_t values, uint32_t length) {
  const uint32_t prefix = *at.stream;
  const uint8_t* suffix = at.stream + 1 + prefix;
  for (uint32_t i = 0; i < values; ++i) {
    std::memcpy(at.out, at.stream + 1, prefix);
    std::memcpy(at.out + prefix, suffix, length - prefix);
    at.out += length;
    suffix += length - prefix;
  }
}

}  // namespace
}  // namespace colx

extern "C" {

// A prefix above the value length, a wrong group count and a wrong number of values go undetected.
uint32_t colx_prefix_decode_dydi(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  using namespace colx;
  const colx_enc_ctx* enc = src->colx_cv_encoding_context;
  const uint32_t length = static_cast<uint32_t>(int32_t{enc->colx_enc_ctx_prefix_value_len});
  if (enc->colx_enc_ctx_prefix_stride != group_values || length < 1 || length > longest_value)
    return COLX_BAD_INPUT;

  const uint32_t values = enc->colx_enc_ctx_prefix_values;
  const Place start = {bytes_at(src->colx_cv_data, 0), bytes_at(res->colx_cv_data, 0)};
  if (kctx != nullptr && kctx->colx_kctx_prefix_ptrs != nullptr)
    describe_values(bytes_at(kctx->colx_kctx_prefix_ptrs, 0), start.out, values, length);
  for (size_t ahead = 0; ahead < prefetch_bytes; ahead += 64) {
    prefetch(start.out + ahead);
    prefetch(start.stream + ahead);
  }
  const uint32_t whole_groups = src->colx_cv_num_of_rows - 1;
  const Place last = expand_groups(start, whole_groups, length);
  const uint32_t rest = values - group_values * whole_groups;
  copy_last_group(last, rest < group_values ? rest : group_values, length);
  return COLX_DONE;
}

}  // extern "C"
