#include "host/services.h"

#include <cstring>
#include <new>

#include "host/loader.h"
#include "host/stream_buffer.h"

namespace colx::host {
namespace {

constexpr uint64_t services_tag = 0x736563697672'6573;

// Stands in front of each block; the block itself follows at a distance of `block_alignment`.
struct BlockHeader {
  std::shared_ptr<AllocationCounters> counters;
  uint64_t bytes;
};
constexpr size_t block_alignment = 64;
static_assert(sizeof(BlockHeader) <= block_alignment);

BlockHeader* header_of(void* block) {
  return reinterpret_cast<BlockHeader*>(static_cast<uint8_t*>(block) - block_alignment);
}

void report(void* host, const char* label, const char* what) {
  char text[256] = "";
  std::strncat(text, label ? label : "allocation", 160);
  std::strncat(text, what, 80);
  host_raise_internal(host, host, text, 0);
}

void* take_block(void* host, const std::shared_ptr<AllocationCounters>& counters, uint64_t bytes,
                 const char* label) {
  constexpr size_t extra = block_alignment + StreamBuffer::slack_bytes;
  void* memory =
      bytes > SIZE_MAX - extra
          ? nullptr
          : ::operator new (bytes + extra, std::align_val_t{block_alignment}, std::nothrow);
  if (!memory) {
    report(host, label, ": out of memory");
    return nullptr;
  }
  new (memory) BlockHeader{counters, bytes};
  uint8_t* block = static_cast<uint8_t*>(memory) + block_alignment;
  std::memset(block + bytes, 0, StreamBuffer::slack_bytes);
  counters->bytes += bytes;
  return block;
}

void give_back(void* block, std::atomic<uint64_t> AllocationCounters::*live) {
  BlockHeader* header = header_of(block);
  AllocationCounters& counters = *header->counters;
  counters.bytes -= header->bytes;
  counters.*live -= 1;
  header->~BlockHeader();
  ::operator delete (static_cast<void*>(header), std::align_val_t{block_alignment});
}

uint32_t refuse_image(colx_decode_env*, const void*, void*, uint32_t*, uint32_t) {
  return COLX_BAD_INPUT;
}

uint32_t refuse_expansion(colx_env* env, const char* text) {
  void* host = env ? env->colx_env_host : nullptr;
  host_raise_internal(host, host, text, 0);
  return COLX_NOT_SERVED;
}

}  // namespace

HostServices::HostServices(const Library& library)
    : HostServices(library.record().colx_sctx_dispatch, library.record().colx_sctx_wpak_decode) {}

HostServices::HostServices(const colx_kernel_fn* dispatch, colx_wpak_decode_call* decode)
    : tag_(services_tag),
      env_{this,
           nullptr,
           allocate_cached,
           allocate_scratch,
           release_scratch,
           decode ? decode : refuse_image},
      dispatch_(dispatch),
      counters_(std::make_shared<AllocationCounters>()) {}

HostServices* HostServices::of(const colx_env* env) {
  // The allocator is compared first: another host's handle may point at anything.
  if (!env || env->colx_env_alloc != allocate_scratch) return nullptr;
  auto* services = static_cast<HostServices*>(env->colx_env_host);
  return services && services->tag_ == services_tag ? services : nullptr;
}

void* HostServices::allocate_cached(void* host, void*, uint32_t bytes, const char* label, uint32_t,
                                    uint32_t, uint64_t) {
  auto* services = static_cast<HostServices*>(host);
  void* block = take_block(host, services->counters_, bytes, label);
  if (!block) return nullptr;
  services->counters_->cached_calls += 1;
  services->counters_->cached_blocks += 1;
  return block;
}

void* HostServices::allocate_scratch(void* host, uint64_t bytes, const char* label, uint32_t,
                                     uint32_t, uint64_t* cookie) {
  auto* services = static_cast<HostServices*>(host);
  void* block = take_block(host, services->counters_, bytes, label);
  if (!block) return nullptr;
  *cookie = bytes;
  services->counters_->scratch_calls += 1;
  services->counters_->scratch_blocks += 1;
  return block;
}

void HostServices::release_scratch(void* host, void* buffer, uint64_t cookie) {
  if (!buffer) return;
  if (cookie != header_of(buffer)->bytes)
    host_raise_internal(host, host, "scratch memory came back with another block's cookie", 0);
  give_back(buffer, &AllocationCounters::scratch_blocks);
}

void release_cached(void* copy) {
  if (copy) give_back(copy, &AllocationCounters::cached_blocks);
}

uint32_t expand_runs(colx_env* env, colx_cv* res, colx_cv* src, colx_kctx* run_hits) {
  const HostServices* services = HostServices::of(env);
  if (!services)
    return refuse_expansion(env, "run expansion: the kctx of the scan has no HostServices env");
  const colx_enc_ctx* column = src->colx_cv_encoding_context;
  const bool positions = column->colx_enc_ctx_rle_cla != nullptr;
  uint32_t width_code = 0;
  const char* missing = nullptr;
  switch (column->colx_enc_ctx_rle_width) {
    case 8:
      width_code = positions ? COLX_WIDTH_BURST_8BIT_CLA : COLX_WIDTH_BURST_8BIT;
      missing = positions ? "run expansion: the library has no colx_burst_rle_8bit_cla"
                          : "run expansion: the library has no colx_burst_rle_8bit";
      break;
    case 16:
      width_code = positions ? COLX_WIDTH_BURST_16BIT_CLA : COLX_WIDTH_BURST_16BIT;
      missing = positions ? "run expansion: the library has no colx_burst_rle_16bit_cla"
                          : "run expansion: the library has no colx_burst_rle_16bit";
      break;
    default:
      return refuse_expansion(env, "run expansion: run lengths are neither 8 nor 16 bits wide");
  }
  const colx_kernel_fn slot =
      services->dispatch()[colx_slot_index(COLX_OPC_BURST, COLX_ENC_RLE, width_code, 0)];
  if (!slot) return refuse_expansion(env, missing);
  return reinterpret_cast<colx_decode_fn>(slot)(res, src, run_hits);
}

}  // namespace colx::host
