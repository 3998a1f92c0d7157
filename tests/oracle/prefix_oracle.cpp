#include "tests/oracle/prefix_oracle.h"

#include <algorithm>

namespace colx::oracle {

std::vector<uint8_t> prefix_stream(const std::vector<PrefixGroup>& groups) {
  std::vector<uint8_t> stream;
  for (const PrefixGroup& group : groups) {
    stream.push_back(static_cast<uint8_t>(group.prefix.size()));
    stream.insert(stream.end(), group.prefix.begin(), group.prefix.end());
    for (const auto& suffix : group.suffixes) {
      stream.insert(stream.end(), suffix.begin(), suffix.end());
    }
  }
  return stream;
}

PrefixOutcome prefix_outcome(const colx_cv& src, bool with_descriptors) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const int value_bytes = encoding.colx_enc_ctx_prefix_value_len;
  if (encoding.colx_enc_ctx_prefix_stride != 16 || value_bytes < 1 || value_bytes > 8) {
    return {10, {}, 0, {}};
  }
  PrefixOutcome outcome = {};
  const uint32_t groups = src.colx_cv_num_of_rows;
  const uint32_t total = encoding.colx_enc_ctx_prefix_values;
  const auto* at = static_cast<const uint8_t*>(src.colx_cv_data);
  for (uint32_t group = 0; group < groups; ++group) {
    const bool last = group + 1 == groups;
    const uint32_t count = last ? std::min<uint32_t>(total - 16 * group, 16) : 16;
    const int prefix_bytes = *at++;
    const uint8_t* const prefix = at;
    at += prefix_bytes;
    for (uint32_t value = 0; value < count; ++value) {
      for (int b = 0; b < value_bytes; ++b) {
        outcome.values.push_back(b < prefix_bytes ? prefix[b] : *at++);
      }
    }
    if (!last) outcome.touchable_bytes = outcome.values.size() + 15;
  }
  outcome.touchable_bytes = std::max(outcome.touchable_bytes, outcome.values.size());
  for (uint32_t value = 0; with_descriptors && value < total; ++value) {
    outcome.described.push_back(size_t{value} * static_cast<unsigned>(value_bytes));
  }
  return outcome;
}

}  // namespace colx::oracle
