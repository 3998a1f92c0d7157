// The entries that have nothing to do: callable, repeatable, and no visible effect.
#include <gtest/gtest.h>

#include "kernels/frame/colx_x86.h"

namespace colx::test {
namespace {

TEST(Setup, InitReturnsWhateverItIsGiven) {
  for (uint64_t word : {uint64_t{0}, uint64_t{1}, ~uint64_t{0}}) colx_init_sharedlib_dydi(word);
}

TEST(Setup, TraceLevelHasNoEffectOnStandardOutput) {
  testing::internal::CaptureStdout();
  for (uint64_t level : {uint64_t{0}, uint64_t{9}, ~uint64_t{0}}) colx_set_trace_level_dydi(level);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Setup, ThreadContextCallsReturnZero) {
  EXPECT_EQ(colx_thread_ctx_init_dydi(), 0u);
  EXPECT_EQ(colx_thread_ctx_init_dydi(), 0u);
  EXPECT_EQ(colx_thread_ctx_fini_dydi(), 0u);
  EXPECT_EQ(colx_thread_ctx_fini_dydi(), 0u);
}

TEST(Setup, FinishWithoutBeginningReturnsZero) {
  EXPECT_EQ(colx_thread_ctx_fini_dydi(), 0u);
}

TEST(Setup, RecordHoldsTheSameFunctions) {
  EXPECT_EQ(colx_global_specialized_ctx.colx_sctx_init_sharedlib, &colx_init_sharedlib_dydi);
  EXPECT_EQ(colx_global_specialized_ctx.colx_sctx_set_trace_level, &colx_set_trace_level_dydi);
  EXPECT_EQ(colx_global_specialized_ctx.colx_sctx_thread_ctx_init, &colx_thread_ctx_init_dydi);
  EXPECT_EQ(colx_global_specialized_ctx.colx_sctx_thread_ctx_fini, &colx_thread_ctx_fini_dydi);
}

}  // namespace
}  // namespace colx::test
