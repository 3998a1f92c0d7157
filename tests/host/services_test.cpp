// This program brings a reporter of its own, which records instead of aborting: the archive's
// default must stay out of the link.
#include "host/services.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/loader.h"

namespace {
struct Raised {
  void* host;
  void* frame;
  std::string text;
  uint64_t zero;
};
std::vector<Raised> raised;
}  // namespace

extern "C" void host_raise_internal(void* host, void* frame, const char* text, uint64_t zero) {
  raised.push_back({host, frame, text, zero});
}

namespace colx::host {
namespace {

colx_kernel_fn no_kernels[COLX_DISPATCH_SLOTS] = {};

struct Services : testing::Test {
  Services() { raised.clear(); }
  HostServices services{no_kernels, nullptr};
};

TEST_F(Services, ScratchMemoryIsCountedAndGivenBack) {
  colx_env* env = services.env();
  uint64_t cookie = 0;
  auto* block =
      static_cast<uint8_t*>(env->colx_env_alloc(env->colx_env_host, 100, "label", 8, 0, &cookie));
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u);
  EXPECT_EQ(services.counters().scratch_calls, 1u);
  EXPECT_EQ(services.counters().scratch_blocks, 1u);
  EXPECT_EQ(services.counters().bytes, 100u);
  for (int k = 0; k < 16; ++k) EXPECT_EQ(block[100 + k], 0) << k;
  env->colx_env_free(env->colx_env_host, block, cookie);
  EXPECT_EQ(services.counters().scratch_calls, 1u);
  EXPECT_EQ(services.counters().scratch_blocks, 0u);
  EXPECT_EQ(services.counters().bytes, 0u);
  EXPECT_TRUE(raised.empty());
}

TEST_F(Services, AWrongCookieIsReported) {
  colx_env* env = services.env();
  uint64_t cookie = 0;
  void* block = env->colx_env_alloc(env->colx_env_host, 8, "label", 4, 0, &cookie);
  env->colx_env_free(env->colx_env_host, block, cookie + 1);
  ASSERT_EQ(raised.size(), 1u);
  EXPECT_EQ(raised[0].text, "scratch memory came back with another block's cookie");
  EXPECT_EQ(raised[0].host, env->colx_env_host);
  EXPECT_EQ(services.counters().scratch_blocks, 0u);
}

TEST_F(Services, ACachedCopyHasTheSlackOfAStreamAndOutlivesTheServices) {
  auto shorter = std::make_unique<HostServices>(no_kernels, nullptr);
  colx_env* env = shorter->env();
  auto* copy = static_cast<uint8_t*>(env->colx_env_alloc_cached(
      env->colx_env_host, env->colx_env_heap, 33, "colx_eq_dict_8bit: vec1_decomp", 8, 16, 33));
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(copy) % 16, 0u);
  EXPECT_EQ(shorter->counters().cached_calls, 1u);
  EXPECT_EQ(shorter->counters().cached_blocks, 1u);
  shorter.reset();
  for (int k = 0; k < 16; ++k) EXPECT_EQ(copy[33 + k], 0) << k;
  std::memset(copy, 0xAB, 33);
  release_cached(copy);
}

TEST_F(Services, ReleasingNothingIsAllowed) {
  release_cached(nullptr);
  services.env()->colx_env_free(services.env()->colx_env_host, nullptr, 0);
  EXPECT_TRUE(raised.empty());
}

TEST_F(Services, ExhaustedMemoryIsReportedUnderTheCallersLabel) {
  colx_env* env = services.env();
  uint64_t cookie = 17;
  EXPECT_EQ(env->colx_env_alloc(env->colx_env_host, UINT64_MAX - 8, "groups", 4, 0, &cookie),
            nullptr);
  EXPECT_EQ(cookie, 17u);
  ASSERT_EQ(raised.size(), 1u);
  EXPECT_EQ(raised[0].text, "groups: out of memory");
  EXPECT_EQ(raised[0].zero, 0u);
  EXPECT_EQ(services.counters().scratch_calls, 0u);
}

TEST_F(Services, WithoutADecoderEveryImageIsRefused) {
  colx_env* env = services.env();
  colx_decode_env decode_env{env->colx_env_host, env->colx_env_heap, env->colx_env_alloc,
                             env->colx_env_free};
  uint32_t length = 0;
  uint8_t image[16] = {}, out[16] = {};
  EXPECT_NE(env->colx_env_decode(&decode_env, image, out, &length, sizeof out), 0u);
  EXPECT_EQ(length, 0u);
}

uint32_t some_decoder(colx_decode_env*, const void*, void*, uint32_t*, uint32_t) {
  return 0;
}

TEST_F(Services, TheDecoderIsTheRecords) {
  colx_specialized_ctx record{};
  record.colx_sctx_magic = COLX_SCTX_MAGIC;
  record.colx_sctx_version = COLX_SCTX_VERSION;
  record.colx_sctx_name = COLX_SCTX_NAME;
  record.colx_sctx_dispatch = no_kernels;
  record.colx_sctx_wpak_decode = some_decoder;
  const char* names[] = {""};
  const auto library = Library::attach(record, names, "made up", {true, true});
  ASSERT_TRUE(library);
  HostServices of_library(*library);
  EXPECT_EQ(of_library.env()->colx_env_decode, some_decoder);
  EXPECT_EQ(of_library.dispatch(), no_kernels);
}

TEST_F(Services, KnowsItsOwnEnv) {
  EXPECT_EQ(HostServices::of(services.env()), &services);
  EXPECT_EQ(HostServices::of(nullptr), nullptr);
  colx_env foreign = *services.env();
  foreign.colx_env_alloc = nullptr;
  EXPECT_EQ(HostServices::of(&foreign), nullptr);
}

// A burst kernel that remembers its call.
struct BurstCall {
  const void *res, *src, *run_hits;
} last_burst;
uint32_t remember_burst(colx_cv* res, colx_cv* src, colx_kctx* run_hits) {
  last_burst = {res, src, run_hits};
  return COLX_NOTHING_FOUND;
}

struct RunExpansion : Services {
  colx_kernel_fn slots[COLX_DISPATCH_SLOTS] = {};
  HostServices with_slots{slots, nullptr};
  colx_enc_ctx column{};
  colx_cv res{}, src{};
  colx_kctx run_hits{};
  uint8_t positions[4] = {};
  RunExpansion() {
    src.colx_cv_encoding_context = &column;
    last_burst = {};
  }
  void fill(uint32_t width_code) {
    slots[colx_slot_index(COLX_OPC_BURST, COLX_ENC_RLE, width_code, 0)] =
        reinterpret_cast<colx_kernel_fn>(remember_burst);
  }
};

TEST_F(RunExpansion, PicksTheBurstKernelByLengthWidthAndPositions) {
  struct {
    uint8_t bits;
    bool positions;
    uint32_t width_code;
  } const cases[] = {{8, false, 6}, {8, true, 7}, {16, false, 14}, {16, true, 15}};
  for (const auto& c : cases) {
    std::fill(std::begin(slots), std::end(slots), nullptr);
    fill(c.width_code);
    last_burst = {};
    column.colx_enc_ctx_rle_width = c.bits;
    column.colx_enc_ctx_rle_cla = c.positions ? positions : nullptr;
    EXPECT_EQ(expand_runs(with_slots.env(), &res, &src, &run_hits), 1u) << c.width_code;
    EXPECT_EQ(last_burst.res, &res) << c.width_code;
    EXPECT_EQ(last_burst.src, &src) << c.width_code;
    EXPECT_EQ(last_burst.run_hits, &run_hits) << c.width_code;
  }
  EXPECT_TRUE(raised.empty());
}

TEST_F(RunExpansion, NamesTheKernelThatIsMissing) {
  const auto text = [&](uint8_t bits, bool with_positions) {
    raised.clear();
    column.colx_enc_ctx_rle_width = bits;
    column.colx_enc_ctx_rle_cla = with_positions ? positions : nullptr;
    EXPECT_EQ(expand_runs(with_slots.env(), &res, &src, &run_hits), 2u);
    return raised.size() == 1 ? raised[0].text : "no report";
  };
  EXPECT_EQ(text(8, false), "run expansion: the library has no colx_burst_rle_8bit");
  EXPECT_EQ(text(8, true), "run expansion: the library has no colx_burst_rle_8bit_cla");
  EXPECT_EQ(text(16, false), "run expansion: the library has no colx_burst_rle_16bit");
  EXPECT_EQ(text(16, true), "run expansion: the library has no colx_burst_rle_16bit_cla");
  EXPECT_EQ(text(12, false), "run expansion: run lengths are neither 8 nor 16 bits wide");
}

TEST_F(RunExpansion, WantsTheServicesOfThisToolkit) {
  column.colx_enc_ctx_rle_width = 8;
  EXPECT_EQ(expand_runs(nullptr, &res, &src, &run_hits), 2u);
  ASSERT_EQ(raised.size(), 1u);
  EXPECT_EQ(raised[0].text, "run expansion: the kctx of the scan has no HostServices env");
  EXPECT_EQ(raised[0].host, nullptr);
}

}  // namespace
}  // namespace colx::host
