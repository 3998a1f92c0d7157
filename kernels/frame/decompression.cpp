#include "kernels/frame/decompression.h"

namespace colx {

const uint8_t* decompressed_rows(const colx_cv* src, const colx_kctx* kctx,
                                 const DecompressionTexts& texts) {
  void** slot = src->colx_cv_decomp_slot;
  if (*slot) return static_cast<const uint8_t*>(*slot);

  const colx_env* env = kctx->colx_kctx_env;
  void* const host = env->colx_env_host;
  *slot = env->colx_env_alloc_cached(host, env->colx_env_heap, src->colx_cv_image_len, texts.label,
                                     8, 16, src->colx_cv_decomp_size);
  colx_decode_env decode_env = {host, env->colx_env_heap, env->colx_env_alloc, env->colx_env_free};
  uint32_t length = 0;  // the decoder's; nobody here looks at it
  if (env->colx_env_decode(&decode_env, src->colx_cv_data, *slot, &length,
                           src->colx_cv_image_len) != 0)
    host_raise_internal(host, host, texts.failure, 0);  // only the host knows its error frame
  return static_cast<const uint8_t*>(*slot);
}

}  // namespace colx
