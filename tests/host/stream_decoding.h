// Decodes streams through the library with everything at the edge of an unreadable page: the stream
// ends where its 16 readable bytes end, the output where the granted room ends.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/prefix_writer.h"
#include "host/services.h"
#include "kernels/frame/colx_x86.h"
#include "tests/support/guarded_pages.h"

namespace colx::host {

using ByteString = std::vector<uint8_t>;

inline ByteString byte_string(std::string_view text) {
  return {text.begin(), text.end()};
}
inline ByteString byte_string(const StreamBuffer& stream) {
  return {stream.data(), stream.data() + stream.size()};
}

inline constexpr size_t readable_behind = 16;

struct Decoded {
  uint32_t status;
  uint32_t length;  // what the decoder says that it wrote
  ByteString bytes;
  std::string damage;  // the first byte around the output that changed; empty if none did
};

// Keeps its pages from one stream to the next.
class StreamDecoding {
 public:
  // `room` bytes of output, and as much capacity.
  Decoded wpak(std::span<const uint8_t> stream, size_t room, test::Place place) {
    colx_env* const host = services_.env();
    colx_decode_env env = {host->colx_env_host, host->colx_env_heap, host->colx_env_alloc,
                           host->colx_env_free};
    const uint8_t* const at = input_.place(stream, readable_behind, test::Edge::end);
    uint8_t* const out = output_.bytes(room, place);
    Decoded decoded{0, 0xDEADBEEF, {}, {}};
    decoded.status =
        colx_wpak_decode_dydi(&env, at, out, &decoded.length, static_cast<uint32_t>(room));
    decoded.bytes.assign(out, out + room);
    decoded.damage = output_.damage();
    return decoded;
  }

  // Room for the values and the 15 bytes behind them; the bytes are the values alone. With
  // `descriptors` room for one a value is given, too, and each of them checked.
  Decoded prefix(std::span<const uint8_t> stream, const PrefixGroups& shape, test::Place place,
                 bool descriptors) {
    colx_cv source{};
    colx_enc_ctx encoding{};
    shape.describe(source, encoding);
    source.colx_cv_data = input_.place(stream, readable_behind, test::Edge::end);
    colx_cv result{};
    uint8_t* const out = output_.bytes(shape.output_bytes(), place);
    result.colx_cv_data = out;
    colx_kctx kctx{};
    kctx.colx_kctx_prefix_ptrs =
        descriptors ? descriptors_.bytes(shape.descriptor_bytes(), place) : nullptr;
    Decoded decoded{};
    decoded.status = colx_prefix_decode_dydi(&result, &source, &kctx);
    decoded.length = shape.values * shape.value_bytes;
    decoded.bytes.assign(out, out + decoded.length);
    decoded.damage = output_.damage();
    if (!descriptors) return decoded;
    if (decoded.damage.empty()) decoded.damage = descriptors_.damage();
    const auto* const records = static_cast<const uint8_t*>(kctx.colx_kctx_prefix_ptrs);
    for (uint32_t i = 0; i < shape.values && decoded.damage.empty(); ++i) {
      colx_prefix_ptr record;
      std::memcpy(&record, records + sizeof record * i, sizeof record);
      if (record.colx_prefix_ptr_value != out + size_t{i} * shape.value_bytes ||
          record.colx_prefix_ptr_length != shape.value_bytes)
        decoded.damage = "descriptor " + std::to_string(i) + " is wrong";
    }
    return decoded;
  }

  // Scratch memory that the decoder has not given back.
  uint64_t scratch_blocks() const { return services_.counters().scratch_blocks; }

 private:
  HostServices services_{colx_dispatch_table, colx_wpak_decode_dydi};
  test::GuardedPages input_;
  test::GuardedOutput output_;
  test::GuardedOutput descriptors_;
};

}  // namespace colx::host
