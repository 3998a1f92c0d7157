// Probing of a hash table: the kernels by form, key layout and values, and the choice among them.
#include "kernels/join/key_blocks.h"
#include "kernels/join/table_dispatch.h"
#include "kernels/join/table_passes.h"

namespace colx {
namespace {

// match(out, hashes, row, rows, ...) runs the match pass on the `rows` rows of a block that begins
// at `row`, its output at `out`; behind them come the arguments that all match passes have.
template <class Form, Layout layout, class Fetch, class Prefetch, class Match>
COLX_INLINE uint32_t probe(colx_cv* res, const colx_cv* src, const colx_ht* ht, colx_hash_fn fn,
                           colx_kctx* kctx, Fetch fetch, Prefetch prefetch, Match match) {
  const BucketChoice choice = bucket_choice(ht);
  const uint32_t room = res->colx_cv_num_of_rows;
  uint32_t written = 0;
  const auto probe_block = [&](const uint64_t* hashes, uint64_t row, uint32_t rows) {
    void* const out = bytes_at(res->colx_cv_data, uint64_t{written} * sizeof(RidvalueRecord));
    if (may_be_far<Form>(choice)) fetch(hashes, rows, COLX_ARGS_of_choice(choice));
    const uint32_t none_chained = prefetch(hashes, rows, COLX_ARGS_of_choice(choice));
    uint32_t stop_row;
    written += match(out, hashes, row, rows, room - written, &stop_row, COLX_ARGS_of_choice(choice),
                     none_chained);
    return stop_row;
  };
  const uint32_t status = for_each_block<layout>(src, fn, kctx, COLX_PROBE_FULL, probe_block);
  res->colx_cv_num_of_rows = written;
  return status;
}

using ProbeKernel = decltype(colx_ht_probe_k4v8_gd_payload);

constexpr TableKernels<ProbeKernel> probe_kernels = [] {
  TableKernels<ProbeKernel> kernels{};
#define COLX_PLACE(form, layout, value)                           \
  kernels.place(TableForm::form, Layout::layout, RowValue::value, \
                colx_ht_probe_##form##_##layout##_##value);
  COLX_HASHED_TABLE_KERNELS(COLX_PLACE)
  COLX_CODE_TABLE_KERNELS(COLX_PLACE)
#undef COLX_PLACE
  return kernels;
}();
static_assert(probe_kernels.count() == 52);

}  // namespace

extern "C" {

#define COLX_DEFINE_PROBE(form, layout, value, call)                                          \
  uint32_t colx_ht_probe_##form##_##layout##_##value(COLX_PARAMS_ht_probe) {                  \
    const auto match = [&](auto out, auto hashes, auto row, uint32_t rows, auto... where) {   \
      return call;                                                                            \
    };                                                                                        \
    return probe<FormOf<TableForm::form>, Layout::layout>(res, src, ht, fn, kctx,             \
                                                          colx_ht_fetch_hash_values_##form,   \
                                                          colx_match_prefetch_##form, match); \
  }
#define COLX_VALUES(form, value) \
  (values_from<RowValue::value, FormOf<TableForm::form>>(payload, row))

#define COLX_DEFINE_HASHED(form, layout, value) \
  COLX_DEFINE_PROBE(                            \
      form, layout, value,                      \
      colx_match_##form##_##value(out, hashes, rows, COLX_VALUES(form, value), where...))
COLX_HASHED_TABLE_KERNELS(COLX_DEFINE_HASHED)

#define COLX_DEFINE_CODED(form, layout, value)                                            \
  COLX_DEFINE_PROBE(                                                                      \
      form, layout, value,                                                                \
      colx_match_##form##_##layout##_##value(out, hashes, rows, COLX_VALUES(form, value), \
                                             codes_from(src, row), where...))
COLX_CODE_TABLE_KERNELS(COLX_DEFINE_CODED)

}  // extern "C"
}  // namespace colx

using namespace colx;

uint32_t colx_ht_probe_dydi(COLX_PARAMS_ht_probe) {
  using enum Layout;
  const uint32_t type = ht->colx_ht_type;
  const uint32_t keys = flags_of(src);
  const bool codes = (type & COLX_HT_GD) != 0;
  const TableForm form = codes ? code_form(type) : tag_form(type);
  const Layout layout = codes ? first_layout<gd>(keys)
                              : first_layout<fixed, lv_sep, lv, lp_sep, lp, hash_values>(keys);
  ProbeKernel* const kernel = probe_kernels.find(form, layout, payload);
  if (kernel == nullptr) return COLX_NOT_SERVED;
  return kernel(COLX_ARGS_ht_probe);
}
