// Building of a hash table: the kernels by form, key layout and values, and the choice among them.
#include "kernels/join/key_blocks.h"
#include "kernels/join/table_dispatch.h"
#include "kernels/join/table_passes.h"

namespace colx {
namespace {

// Where a call builds: one partition as a table by itself, or all of them.
struct BuildTarget {
  BucketChoice choice;
  void** over_cur;
  void* const* over_end;
};

COLX_INLINE BuildTarget build_target(const colx_ht* ht, int32_t part) {
  BuildTarget target = {bucket_choice(ht), ht->colx_ht_over_cur, ht->colx_ht_over_end};
  if (part < 0) return target;
  target.choice.part_mask = 0;
  target.choice.buckets += part;
  target.over_cur += part;
  target.over_end += part;
  return target;
}

// What a stopped build says of the partition. The number is that of the partition in a table of
// 16-bit tags whose partition field begins right above the bucket field and takes no low bits; of
// others the host knows the partition, or works it out from the stopped row's hash. It is 0 when
// the call was for one partition.
COLX_INLINE uint32_t stopped_partition(const colx_ht* ht, const BuildTarget& target,
                                       uint64_t hash) {
  const auto low = static_cast<uint32_t>(hash & target.choice.part_mask);
  return low >> ((ht->colx_ht_bucket_hi + 1) & 31);
}

// insert(block, row, rows, ...) runs the insert pass on the `rows` rows of a block that begins at
// `row`; behind them come the arguments that all insert passes have.
template <class Form, Layout layout, class Fetch, class Prefetch, class Insert>
COLX_INLINE uint32_t build(const colx_ht* ht, const colx_cv* src, int32_t part, colx_hash_fn fn,
                           colx_kctx* kctx, Fetch fetch, Prefetch prefetch, Insert insert) {
  const BuildTarget target = build_target(ht, part);
  const auto build_block = [&](const auto* block, uint64_t row, uint32_t rows)
      __attribute__((always_inline)) {
    if (may_be_far<Form>(target.choice)) fetch(block, rows, COLX_ARGS_of_choice(target.choice));
    const uint32_t with_room = prefetch(block, rows, COLX_ARGS_of_choice(target.choice));
    const uint32_t done = insert(block, row, rows, COLX_ARGS_of_choice(target.choice),
                                 target.over_cur, target.over_end, with_room);
    if (done < rows)
      kctx->colx_kctx_resume_extra = stopped_partition(ht, target, rows_of(block).hash(done));
    return done;
  };
  return for_each_block<layout>(src, fn, kctx, COLX_OVERFLOW_FULL, build_block);
}

using BuildKernel = decltype(colx_ht_build_k4v8_hashgdrid);

constexpr TableKernels<BuildKernel> build_kernels = [] {
  TableKernels<BuildKernel> kernels{};
#define COLX_PLACE(form, layout, value)                           \
  kernels.place(TableForm::form, Layout::layout, RowValue::value, \
                colx_ht_build_##form##_##layout##_##value);
  COLX_HASHED_TABLE_KERNELS(COLX_PLACE)
  COLX_CODE_TABLE_KERNELS(COLX_PLACE)
#undef COLX_PLACE
#define COLX_PLACE(form) \
  kernels.place(TableForm::form, Layout::hashrid, RowValue::record, colx_ht_build_##form##_hashrid);
  COLX_TABLE_FORMS(COLX_PLACE)
#undef COLX_PLACE
  kernels.place(TableForm::k4v8, Layout::hashgdrid, RowValue::record, colx_ht_build_k4v8_hashgdrid);
  return kernels;
}();
static_assert(build_kernels.count() == 57);

}  // namespace

extern "C" {

#define COLX_DEFINE_BUILD(form, name, layout, rows_name, call)                                 \
  uint32_t colx_ht_build_##form##_##name(COLX_PARAMS_ht_build) {                               \
    const auto insert = [&](auto block, [[maybe_unused]] auto row, auto rows, auto... where) { \
      return call;                                                                             \
    };                                                                                         \
    return build<FormOf<TableForm::form>, Layout::layout>(                                     \
        ht, src, part, fn, kctx, colx_ht_fetch_##rows_name##_##form,                           \
        colx_ht_build_prefetch_##rows_name##_##form, insert);                                  \
  }
#define COLX_VALUES(form, value) \
  (values_from<RowValue::value, FormOf<TableForm::form>>(payload, row))

#define COLX_DEFINE_HASHED(form, layout, value)    \
  COLX_DEFINE_BUILD(                               \
      form, layout##_##value, layout, hash_values, \
      colx_insert_hash_values_##value##_##form(block, COLX_VALUES(form, value), rows, where...))
COLX_HASHED_TABLE_KERNELS(COLX_DEFINE_HASHED)

#define COLX_DEFINE_CODED(form, layout, value)                   \
  COLX_DEFINE_BUILD(form, layout##_##value, layout, hash_values, \
                    colx_insert_##layout##_##value##_##form(     \
                        block, codes_from(src, row), COLX_VALUES(form, value), rows, where...))
COLX_CODE_TABLE_KERNELS(COLX_DEFINE_CODED)

#define COLX_DEFINE_RECORDS(form, layout)         \
  COLX_DEFINE_BUILD(form, layout, layout, layout, \
                    colx_insert_##layout##_##form(block, rows, where...))
#define COLX_DEFINE_HASHRID(form) COLX_DEFINE_RECORDS(form, hashrid)
COLX_TABLE_FORMS(COLX_DEFINE_HASHRID)
COLX_DEFINE_RECORDS(k4v8, hashgdrid)

}  // extern "C"
}  // namespace colx

using namespace colx;

uint32_t colx_ht_build_dydi(COLX_PARAMS_ht_build) {
  using enum Layout;
  const uint32_t keys = flags_of(src);
  TableForm form = code_form(ht->colx_ht_type);
  Layout layout = none;
  if (form == TableForm::k4v8)
    layout = first_layout<hashgdrid, gd>(keys);
  else if (form == TableForm::k4v4)
    layout = first_layout<gd>(keys);
  else {
    form = tag_form(ht->colx_ht_type);
    layout = first_layout<hashrid, fixed, lv_sep, lv, lp_sep, lp, hash_values>(keys);
  }
  BuildKernel* const kernel = build_kernels.find(form, layout, payload);
  if (kernel == nullptr) return COLX_NOT_SERVED;
  return kernel(COLX_ARGS_ht_build);
}
