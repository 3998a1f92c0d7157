// The exported record: all that the host reads to find the kernels. Constant after load.
#include "kernels/frame/colx_x86.h"

namespace {

// An entry whose function is not in this build; the host's loader names it.
constexpr decltype(nullptr) pending = nullptr;

}  // namespace

extern "C" {

extern constinit const colx_specialized_ctx colx_global_specialized_ctx = {
    .colx_sctx_magic = COLX_SCTX_MAGIC,
    .colx_sctx_version = COLX_SCTX_VERSION,
    .colx_sctx_rev = 3,
    .colx_sctx_name = COLX_SCTX_NAME,
    .colx_sctx_sizes = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16},
    .colx_sctx_dispatch = colx_dispatch_table,
    .colx_sctx_init_sharedlib = colx_init_sharedlib_dydi,
    .colx_sctx_set_trace_level = colx_set_trace_level_dydi,
    .colx_sctx_lbivpopcnt = colx_lbivpopcnt_dydi,
    .colx_sctx_lbivnot = colx_lbivnot_dydi,
    .colx_sctx_lbivand = colx_lbivand_dydi,
    .colx_sctx_lbivor = colx_lbivor_dydi,
    .colx_sctx_lbivxor = colx_lbivxor_dydi,
    .colx_sctx_lbivandnot = colx_lbivandnot_dydi,
    .colx_sctx_lbivand3 = colx_lbivand3_dydi,
    .colx_sctx_lbivor3 = colx_lbivor3_dydi,
    .colx_sctx_lbivxor3 = colx_lbivxor3_dydi,
    .colx_sctx_lbivset_range = colx_lbivset_range_dydi,
    .colx_sctx_lbivclr_range = colx_lbivclr_range_dydi,
    .colx_sctx_lbiv_ictx_ini2 = colx_lbiv_ictx_ini2_dydi,
    .colx_sctx_lbiviter = colx_lbiviter_dydi,
    .colx_sctx_lbiviter_clr = colx_lbiviter_clr_dydi,
    .colx_sctx_lbivones = colx_lbivones_dydi,
    .colx_sctx_lbivrun = colx_lbivrun_dydi,
    .colx_sctx_lbivruns = colx_lbivruns_dydi,
    .colx_sctx_lbiwvpopcnt = colx_lbiwvpopcnt_dydi,
    .colx_sctx_lbiwvnot = colx_lbiwvnot_dydi,
    .colx_sctx_lbiwvand = colx_lbiwvand_dydi,
    .colx_sctx_lbiwvor = colx_lbiwvor_dydi,
    .colx_sctx_lbiwvxor = colx_lbiwvxor_dydi,
    .colx_sctx_lbiwvandnot = colx_lbiwvandnot_dydi,
    .colx_sctx_lbiwvand3 = colx_lbiwvand3_dydi,
    .colx_sctx_lbiwvor3 = colx_lbiwvor3_dydi,
    .colx_sctx_lbiwvxor3 = colx_lbiwvxor3_dydi,
    .colx_sctx_lbiwvset_range = colx_lbiwvset_range_dydi,
    .colx_sctx_lbiwvclr_range = colx_lbiwvclr_range_dydi,
    .colx_sctx_lbiwv_ictx_ini2 = colx_lbiwv_ictx_ini2_dydi,
    .colx_sctx_lbiwviter = colx_lbiwviter_dydi,
    .colx_sctx_lbiwviter_clr = colx_lbiwviter_clr_dydi,
    .colx_sctx_lbiwvones = colx_lbiwvones_dydi,
    .colx_sctx_lbiwvrun = colx_lbiwvrun_dydi,
    .colx_sctx_lbiwvruns = colx_lbiwvruns_dydi,
    .colx_sctx_bloom = pending,
    .colx_sctx_spatial_pip = colx_spatial_pip_dydi,
    .colx_sctx_groupkey = colx_groupkey_dydi,
    .colx_sctx_gby_sum = colx_gby_sum_dydi,
    .colx_sctx_convert = colx_convert_dydi,
    .colx_sctx_prefix_decode = colx_prefix_decode_dydi,
    .colx_sctx_hash = colx_hash_dydi,
    .colx_sctx_ht_build = colx_ht_build_dydi,
    .colx_sctx_ht_probe = colx_ht_probe_dydi,
    .colx_sctx_partition = colx_partition_dydi,
    .colx_sctx_gather = colx_gather_dydi,
    .colx_sctx_transpose_reference = colx_transpose_reference_dydi,
    .colx_sctx_transpose_convert = colx_transpose_convert_dydi,
    .colx_sctx_wpak_decode = colx_wpak_decode_dydi,
    .colx_sctx_thread_ctx_init = colx_thread_ctx_init_dydi,
    .colx_sctx_thread_ctx_fini = colx_thread_ctx_fini_dydi,
};

}  // extern "C"
