#include "kernels/frame/scan_frame.h"

namespace colx {

ScanInput open_scan(const colx_cv* res, const colx_cv* src, const colx_kctx* kctx,
                    const DecompressionTexts& texts) {
  const colx_enc_ctx* enc = src->colx_cv_encoding_context;
  const bool runs = enc->colx_enc_ctx_flags & COLX_RLE;
  return {.data = stored_rows(src, kctx, texts),
          .out = runs ? enc->colx_enc_ctx_rle_bits : res->colx_cv_bits,
          .rows = runs ? enc->colx_enc_ctx_rle_rows : res->colx_cv_num_of_rows,
          .src = src};
}

uint32_t close_scan(colx_cv* res, colx_cv* src, colx_kctx* kctx, const ScanInput& in,
                    uint32_t count, const ScanRules& rules) {
  if (rules.ands_nulls && src->colx_cv_nulls)
    colx_lbiwvand_dydi(in.out, &count, in.out, src->colx_cv_nulls, in.rows);
  if (kctx && kctx->colx_kctx_selection) {
    colx_lbiwvand_dydi(in.out, &count, in.out, kctx->colx_kctx_selection, in.rows);
    kctx->colx_kctx_flags_out |= rules.selected_flag;
  }
  res->colx_cv_num_set = count;

  const colx_enc_ctx* enc = src->colx_cv_encoding_context;
  if (!(enc->colx_enc_ctx_flags & COLX_RLE)) return count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
  colx_kctx run_hits = {};
  run_hits.colx_kctx_selection = in.out;
  run_hits.colx_kctx_aux_set = count;
  return enc->colx_enc_ctx_rle_expand(kctx->colx_kctx_env, res, src, &run_hits);
}

SelectedRows open_selected(const colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                           uint32_t selected_flag, const DecompressionTexts& texts) {
  const uint32_t rows = src->colx_cv_num_of_rows;
  SelectedRows in;
  in.data = stored_rows(src, kctx, texts);
  in.out = res->colx_cv_bits;
  kctx->colx_kctx_flags_out |= selected_flag;
  clear_rest(in.out, rows, 0);
  in.words = selected_words(kctx->colx_kctx_selection, rows);
  return in;
}

uint32_t close_selected(colx_cv* res, const colx_cv* src, uint64_t* out, uint32_t count,
                        const ScanRules& rules) {
  if (rules.ands_nulls && src->colx_cv_nulls)
    colx_lbiwvand_dydi(out, &count, out, src->colx_cv_nulls, src->colx_cv_num_of_rows);
  res->colx_cv_num_set = count;
  return count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
}

}  // namespace colx
