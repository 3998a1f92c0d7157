#include "host/prefix_writer.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace colx::host {
namespace {

uint32_t shared_prefix(std::span<const uint8_t> values, uint32_t value_bytes) {
  uint32_t shared = value_bytes;
  for (size_t at = value_bytes; at < values.size(); at += value_bytes) {
    uint32_t same = 0;
    while (same < shared && values[at + same] == values[same]) ++same;
    shared = same;
  }
  return shared;
}

}  // namespace

void PrefixGroups::describe(colx_cv& source, colx_enc_ctx& encoding) const {
  source.colx_cv_data = const_cast<uint8_t*>(stream.data());
  source.colx_cv_encoding_context = &encoding;
  source.colx_cv_num_of_rows = groups;
  encoding.colx_enc_ctx_prefix_stride = prefix_group_values;
  encoding.colx_enc_ctx_prefix_value_len = static_cast<int16_t>(value_bytes);
  encoding.colx_enc_ctx_prefix_values = values;
}

Result<PrefixGroups> write_prefix_groups(std::span<const uint8_t> values, uint32_t value_bytes) {
  if (value_bytes < 1 || value_bytes > max_prefix_value_bytes)
    return make_error("prefix groups of values of %u bytes; use 1 to %u", value_bytes,
                      max_prefix_value_bytes);
  if (values.empty()) return make_error("no values: prefix groups hold at least one");
  if (values.size() % value_bytes != 0)
    return make_error("%zu bytes are no whole number of values of %u bytes: %zu are left over",
                      values.size(), value_bytes, values.size() % value_bytes);
  if (values.size() / value_bytes > UINT32_MAX)
    return make_error("%zu values are too many for one prefix stream; split them at 2^32 - 1",
                      values.size() / value_bytes);

  std::vector<uint8_t> stream;
  const size_t group_bytes = size_t{prefix_group_values} * value_bytes;
  for (size_t start = 0; start < values.size(); start += group_bytes) {
    const auto group = values.subspan(start, std::min(group_bytes, values.size() - start));
    const uint32_t prefix = shared_prefix(group, value_bytes);
    stream.push_back(static_cast<uint8_t>(prefix));
    stream.insert(stream.end(), group.begin(), group.begin() + prefix);
    for (size_t at = 0; at < group.size(); at += value_bytes) {
      const auto suffix = group.subspan(at + prefix, value_bytes - prefix);
      stream.insert(stream.end(), suffix.begin(), suffix.end());
    }
  }

  PrefixGroups written;
  written.stream = StreamBuffer(stream.size());
  std::memcpy(written.stream.data(), stream.data(), stream.size());
  written.values = static_cast<uint32_t>(values.size() / value_bytes);
  written.groups = (written.values - 1) / prefix_group_values + 1;
  written.value_bytes = value_bytes;
  return written;
}

}  // namespace colx::host
