// Any byte string and shape that prefix_validate accepts is decoded within its buffers, to what its
// groups say.
//
//   input: values, 2 bytes | groups, 2 bytes | value length, 1 byte | group values, 1 byte | stream
//
// Every buffer is a heap block of exactly the granted size, so that the address sanitizer sees the
// first byte beyond. The input is decoded twice, with different bytes behind the stream: they may
// be read, but must not show.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "host/big_endian.h"
#include "host/stream_validation.h"
#include "kernels/frame/colx_x86.h"

namespace {

using colx::host::load_big_endian;
using colx::host::PrefixShape;
using Bytes = std::vector<uint8_t>;

constexpr size_t shape_bytes = 6;
constexpr size_t readable_behind = 16;
constexpr size_t writable_behind = 15;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "prefix_fuzz: %s\n", what);
  std::abort();
}

// The values of a valid stream, one after the other.
Bytes expand(const uint8_t* stream, const PrefixShape& shape) {
  const auto length = static_cast<size_t>(shape.value_bytes);
  Bytes out;
  const uint8_t* group = stream;
  const uint8_t* suffix = stream;
  for (uint32_t i = 0; i < shape.values; ++i) {
    if (i % 16 == 0) {
      group = suffix;
      suffix = group + 1 + *group;
    }
    const size_t prefix = *group;
    out.insert(out.end(), group + 1, group + 1 + prefix);
    out.insert(out.end(), suffix, suffix + (length - prefix));
    suffix += length - prefix;
  }
  return out;
}

// The values, decoded with `behind` in the bytes behind the stream.
Bytes decode(const uint8_t* data, size_t size, const PrefixShape& shape, uint8_t behind) {
  const auto stream = std::make_unique<uint8_t[]>(size + readable_behind);
  std::memcpy(stream.get(), data, size);
  std::memset(stream.get() + size, behind, readable_behind);
  const size_t bytes = size_t{shape.values} * static_cast<size_t>(shape.value_bytes);
  const auto out = std::make_unique<uint8_t[]>(bytes + writable_behind);
  const auto descriptors = std::make_unique<colx_prefix_ptr[]>(shape.values);

  colx_enc_ctx encoding{};
  encoding.colx_enc_ctx_prefix_stride = static_cast<uint16_t>(shape.group_values);
  encoding.colx_enc_ctx_prefix_value_len = static_cast<int16_t>(shape.value_bytes);
  encoding.colx_enc_ctx_prefix_values = shape.values;
  colx_cv source{};
  source.colx_cv_data = stream.get();
  source.colx_cv_num_of_rows = shape.groups;
  source.colx_cv_encoding_context = &encoding;
  colx_cv result{};
  result.colx_cv_data = out.get();
  colx_kctx kctx{};
  kctx.colx_kctx_prefix_ptrs = descriptors.get();
  require(colx_prefix_decode_dydi(&result, &source, &kctx) == COLX_DONE,
          "valid groups are not decoded");
  for (uint32_t i = 0; i < shape.values; ++i)
    require(descriptors[i].colx_prefix_ptr_value == out.get() + bytes / shape.values * i,
            "a descriptor points elsewhere");
  return {out.get(), out.get() + bytes};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < shape_bytes) return 0;
  const PrefixShape shape = {.groups = static_cast<uint32_t>(load_big_endian(data + 2, 2)),
                             .values = static_cast<uint32_t>(load_big_endian(data, 2)),
                             .value_bytes = static_cast<int8_t>(data[4]),
                             .group_values = data[5]};
  data += shape_bytes;
  size -= shape_bytes;
  const auto valid = colx::host::prefix_validate(data, size, shape);
  if (!valid) {
    require(!valid.message().empty(), "refused without a reason");
    return 0;
  }
  require(valid->stream_bytes <= size, "a valid stream ends behind its end");
  const Bytes decoded = decode(data, size, shape, 0x00);
  require(decoded.size() == valid->decoded_bytes, "the validator said another length");
  require(decoded == decode(data, size, shape, 0xFF),
          "the output depends on what lies behind the stream");
  require(decoded == expand(data, shape), "the output is not what the groups say");
  return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

// Three mutations out of four get a shape of sound numbers, and groups for their values.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned seed) {
  size = LLVMFuzzerMutate(data, size, max_size);
  if (seed % 4 == 0 || size < shape_bytes) return size;
  const uint64_t values = 1 + load_big_endian(data, 2) % 200;
  colx::host::store_big_endian(data, values, 2);
  colx::host::store_big_endian(data + 2, (values + 15) / 16, 2);
  data[4] = 1 + data[4] % 8;
  data[5] = 16;
  return size;
}
