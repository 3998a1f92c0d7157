#include "tests/sweep/function_sweep.h"

namespace colx::test {

// Each family stands in its own file and here.
extern const FunctionSweep bit_iteration_sweep;
extern const FunctionSweep bit_logic_sweep;
extern const FunctionSweep bloom_sweep;
extern const FunctionSweep conversion_sweep;
extern const FunctionSweep gather_sweep;
extern const FunctionSweep group_key_sweep;
extern const FunctionSweep group_sum_sweep;
extern const FunctionSweep hash_build_sweep;
extern const FunctionSweep hash_probe_sweep;
extern const FunctionSweep hash_sweep;
extern const FunctionSweep partition_sweep;
extern const FunctionSweep polygon_sweep;
extern const FunctionSweep prefix_decode_sweep;
extern const FunctionSweep transpose_convert_sweep;
extern const FunctionSweep wpak_decode_sweep;

std::span<const FunctionSweep* const> function_sweeps() {
  static constexpr const FunctionSweep* families[] = {
      &bit_iteration_sweep, &bit_logic_sweep,
      &bloom_sweep,         &conversion_sweep,
      &gather_sweep,        &group_key_sweep,
      &group_sum_sweep,     &hash_build_sweep,
      &hash_probe_sweep,    &hash_sweep,
      &partition_sweep,     &polygon_sweep,
      &prefix_decode_sweep, &transpose_convert_sweep,
      &wpak_decode_sweep,
  };
  return families;
}

std::span<const FixedFunction> fixed_functions() {
  static constexpr FixedFunction functions[] = {
      {"colx_build_cla_1_ub1", "cumulative_lengths_test"},
      {"colx_build_cla_1_ub2", "cumulative_lengths_test"},
      {"colx_dispatch_table_size", "dispatch_table_test"},
      {"colx_init_sharedlib_dydi", "setup_test"},
      {"colx_lbivrun_dydi", "iteration_test"},
      {"colx_lbivruns_dydi", "iteration_test"},
      {"colx_lbiwvrun_dydi", "iteration_test"},
      {"colx_lbiwvruns_dydi", "iteration_test"},
      {"colx_null", "null_vector_test"},
      {"colx_set_trace_level_dydi", "setup_test"},
      {"colx_stats_dump", "stats_dump_test"},
      {"colx_thread_ctx_fini_dydi", "setup_test"},
      {"colx_thread_ctx_init_dydi", "setup_test"},
      {"colx_transpose_reference_dydi", "transpose_reference_test"},
  };
  return functions;
}

}  // namespace colx::test
