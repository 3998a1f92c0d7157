#include "kernels/decode/unpack_runs.h"

#include "kernels/decode/inner_forms.h"
#include "kernels/decode/packed_code.h"
#include "kernels/decode/run_lengths.h"
#include "kernels/decode/unpack_close.h"

namespace colx {
namespace {

// The run of the current row. A fresh walk is in front of run 0, behind which row 0 follows.
template <unsigned length_bytes>
struct RunWalk {
  RunLengths<length_bytes> lengths;
  uint32_t runs;
  uint32_t run = ~uint32_t{0};
  uint32_t end = 0;  // first row behind the run

  RunWalk(const colx_enc_ctx* enc, const colx_kctx* kctx)
      : lengths{bytes_at(enc->colx_enc_ctx_rle_runs, 0)}, runs(enc->colx_enc_ctx_rle_rows) {
    if (kctx->colx_kctx_position == 0 || kctx->colx_kctx_state2 == 0) return;
    run = kctx->colx_kctx_state1;
    end = kctx->colx_kctx_state2;
  }

  bool started() const { return end != 0; }

  // To the run of `row`, which lies in the current run or behind it.
  void step_to(uint32_t row) {
    while (end <= row) end += lengths[++run];
  }

  // The same for a row that may be many runs ahead.
  void leap_to(uint32_t row) {
    constexpr uint32_t leap = 4 * RunLengths<length_bytes>::per_vector;
    for (; run + 1 < runs && runs - (run + 1) >= leap; run += leap) {
      const uint64_t leap_end = end + rows_in_runs(lengths, run + 1, run + 1 + leap);
      if (leap_end > row) break;
      end = static_cast<uint32_t>(leap_end);
    }
    step_to(row);
  }

  void save(colx_kctx* kctx) const {
    kctx->colx_kctx_state1 = run;
    kctx->colx_kctx_state2 = end;
  }
};

// Elements for rows in ascending order; a code is extracted once for each run that is met.
template <unsigned length_bytes, unsigned element_bytes>
struct RunElements {
  RunWalk<length_bytes> walk;
  const RunCodes& codes;
  uint32_t code = 0;

  RunElements(const colx_enc_ctx* enc, const colx_kctx* kctx, const RunCodes& run_codes)
      : walk(enc, kctx), codes(run_codes) {
    if (walk.started()) find_code();
  }

  void find_code() { code = code_at(codes.stream, walk.run, codes.width); }

  void put(uint8_t* to, const uint32_t* rows, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i, to += element_bytes) {
      if (walk.end <= rows[i]) {
        walk.step_to(rows[i]);
        find_code();
      }
      store_as(to, static_cast<Unsigned<element_bytes>>(code));
    }
  }
};

// The rows of a list: one at least, or the host is told.
template <unsigned length_bytes, unsigned element_bytes>
uint32_t unpack_listed(colx_cv* res, colx_kctx* kctx, const RunCodes& codes,
                       RunElements<length_bytes, element_bytes>& elements) {
  const uint32_t* const rows = kctx->colx_kctx_rows;
  const uint32_t count = kctx->colx_kctx_num_rows;
  if (count == 0) {
    void* const host = kctx->colx_kctx_env->colx_env_host;
    host_raise_internal(host, host, codes.empty_list_text, 0);  // only the host knows its frame
    return close_unpack(res, kctx, 0, kctx->colx_kctx_position);
  }
  elements.put(bytes_at(res->colx_cv_data, 0), rows, count);
  return close_unpack(res, kctx, count, rows[count - 1]);
}

// Codes of the `count` runs from `first`, through the kernel itself as a column without runs.
void unpack_codes(uint8_t* out, const RunCodes& codes, uint32_t first, uint32_t count) {
  colx_enc_ctx plain = {};
  colx_cv src = {};
  src.colx_cv_data = const_cast<uint8_t*>(codes.stream);
  src.colx_cv_encoding_context = &plain;
  src.colx_cv_num_of_rows = first + count;
  colx_cv res = {};
  res.colx_cv_data = out;
  res.colx_cv_num_of_rows = count;
  colx_kctx kctx = {};
  kctx.colx_kctx_flags = codes.element_bytes == 4 ? COLX_KCTX_WIDE_CODES : 0;
  kctx.colx_kctx_position = first;
  codes.kernel(&res, &src, &kctx);
}

using ExpandFn = decltype(&colx_rle8_expand_ub1);
template <unsigned length_bytes, unsigned element_bytes>
constexpr ExpandFn expansion = [] {
  constexpr ExpandFn of_bytes[] = {colx_rle8_expand_ub1, colx_rle8_expand_ub2,
                                   colx_rle8_expand_ub4};
  constexpr ExpandFn of_pairs[] = {colx_rle16_expand_ub1, colx_rle16_expand_ub2,
                                   colx_rle16_expand_ub4};
  return (length_bytes == 1 ? of_bytes : of_pairs)[element_bytes / 2];
}();

// The rows from the position on, as many as `res` has room for. Codes go through a buffer, some
// runs at a time.
template <unsigned length_bytes, unsigned element_bytes>
uint32_t unpack_range(colx_cv* res, const colx_cv* src, colx_kctx* kctx, const RunCodes& codes,
                      RunWalk<length_bytes> walk) {
  const uint32_t start = kctx->colx_kctx_position;
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t count = start < rows ? std::min(rows - start, res->colx_cv_num_of_rows) : 0;
  res->colx_cv_num_set = count;
  kctx->colx_kctx_position = start + count - 1;
  if (count == 0) return COLX_NOTHING_FOUND;

  walk.leap_to(start);
  uint32_t run = walk.run;
  uint32_t run_rows = walk.end - start;
  const uint32_t last_row = start + count - 1;
  walk.leap_to(last_row);

  constexpr uint32_t batch_runs = 256;
  uint8_t batch[batch_runs * element_bytes];
  colx_cv values = {};
  values.colx_cv_data = batch;
  colx_cv out = {};
  out.colx_cv_data = res->colx_cv_data;
  while (true) {
    const uint32_t batched = std::min(walk.run - run + 1, batch_runs);
    const bool last = run + batched > walk.run;
    unpack_codes(batch, codes, run, batched);
    values.colx_cv_num_of_rows = batched;
    expansion<length_bytes, element_bytes>(&out, &values, walk.lengths.at(run), run_rows,
                                           last ? walk.end - last_row - 1 : 0);
    if (last) break;
    const uint64_t expanded = run_rows + rows_in_runs(walk.lengths, run + 1, run + batched);
    out.colx_cv_data = bytes_at(out.colx_cv_data, expanded * element_bytes);
    run += batched;
    run_rows = walk.lengths[run];
  }
  walk.save(kctx);
  return COLX_DONE;
}

template <unsigned length_bytes, unsigned element_bytes>
uint32_t unpack_runs_of(colx_cv* res, const colx_cv* src, colx_kctx* kctx, const RunCodes& codes) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  if (!kctx->colx_kctx_selection && !kctx->colx_kctx_rows)
    return unpack_range<length_bytes, element_bytes>(res, src, kctx, codes,
                                                     RunWalk<length_bytes>(enc, kctx));
  RunElements<length_bytes, element_bytes> elements(enc, kctx, codes);
  const uint32_t status =
      kctx->colx_kctx_selection
          ? unpack_drawn<element_bytes>(
                res, src, kctx,
                [&](uint8_t* to, const uint32_t* rows, uint32_t n) { elements.put(to, rows, n); })
          : unpack_listed(res, kctx, codes, elements);
  elements.walk.save(kctx);
  return status;
}

template <unsigned length_bytes>
uint32_t unpack_runs_with(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                          const RunCodes& codes) {
  if (codes.element_bytes == 1) return unpack_runs_of<length_bytes, 1>(res, src, kctx, codes);
  if (codes.element_bytes == 2) return unpack_runs_of<length_bytes, 2>(res, src, kctx, codes);
  return unpack_runs_of<length_bytes, 4>(res, src, kctx, codes);
}

}  // namespace

uint32_t unpack_runs(colx_cv* res, const colx_cv* src, colx_kctx* kctx, const RunCodes& codes) {
  if (src->colx_cv_encoding_context->colx_enc_ctx_rle_width == 8)
    return unpack_runs_with<1>(res, src, kctx, codes);
  return unpack_runs_with<2>(res, src, kctx, codes);
}

}  // namespace colx
