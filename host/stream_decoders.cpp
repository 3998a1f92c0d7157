#include "host/stream_decoders.h"

#include <cstring>

#include "host/stream_validation.h"

namespace colx::host {

Result<StreamBuffer> expand_wpak(std::span<const uint8_t> stream, colx_env* env,
                                 uint32_t most_bytes) {
  const auto valid = wpak_validate(stream.data(), stream.size());
  if (!valid) return valid.error();
  if (valid->decoded_bytes > most_bytes)
    return make_error("wpak stream: decoded length %u at offset 12, but at most %u are wanted",
                      valid->decoded_bytes, most_bytes);
  StreamBuffer with_slack(stream.size());
  std::memcpy(with_slack.data(), stream.data(), stream.size());
  StreamBuffer expanded(valid->decoded_bytes);
  colx_decode_env decode_env = {env->colx_env_host, env->colx_env_heap, env->colx_env_alloc,
                                env->colx_env_free};
  uint32_t written = 0;
  const uint32_t status = env->colx_env_decode(&decode_env, with_slack.data(), expanded.data(),
                                               &written, valid->decoded_bytes);
  if (status != COLX_DONE || written != valid->decoded_bytes)
    return make_error(
        "a sound wpak stream was refused with status %u after %u of %u bytes; is the "
        "service the library's decoder?",
        status, written, valid->decoded_bytes);
  return expanded;
}

Result<StreamBuffer> expand_prefix_groups(const PrefixGroups& groups, colx_three_call* decode) {
  if (!decode) return make_error("the library has no colx_prefix_decode_dydi");
  colx_cv source{};
  colx_enc_ctx encoding{};
  groups.describe(source, encoding);
  const auto valid = prefix_validate(source, groups.stream.size());
  if (!valid) return valid.error();
  StreamBuffer room(groups.output_bytes());
  colx_cv result{};
  result.colx_cv_data = room.data();
  if (const uint32_t status = decode(&result, &source, nullptr); status != COLX_DONE)
    return make_error("sound prefix groups were refused with status %u", status);
  StreamBuffer values(valid->decoded_bytes);
  std::memcpy(values.data(), room.data(), values.size());
  return values;
}

}  // namespace colx::host
