// The wpak decoder at 8, 9 and 10 bits on text columns and prose: against a loop that takes one
// code at a time, one that takes one byte at a time, and LZ4 and zstd -1 in blocks of 64 KB.

#include <lz4.h>
#include <zstd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/sample_texts.h"
#include "bench/support/scalar_streams.h"
#include "host/services.h"
#include "host/stream_validation.h"
#include "host/wpak_writer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr size_t text_bytes = 384 << 10;  // fits in_l2 with its stream
constexpr size_t block_bytes = 64 << 10;

constexpr Target targets[] = {
    {"wpak, times one code at a time", "wpak \\d+bit .* by words", &in_l2, Figure::times_scalar,
     2.2},
    {"wpak, times one byte at a time", "wpak \\d+bit .* by bytes", &in_l2, Figure::times_scalar,
     15},
    {"wpak, cost of LZ4 in blocks of 64 KB", "wpak \\d+bit .* by words", &in_l2, Figure::of_peer,
     0.5},
};

const std::vector<SampleText>& texts() {
  static const std::vector<SampleText> all = sample_texts(text_bytes);
  return all;
}

// A text in blocks of 64 KB, each compressed alone.
struct Blocks {
  std::vector<Bytes> compressed;
  size_t bytes = 0;
};

template <class Compress>
Blocks in_blocks(const Bytes& text, size_t bound, Compress compress) {
  Blocks blocks;
  for (size_t at = 0; at < text.size(); at += block_bytes) {
    const size_t bytes = std::min(block_bytes, text.size() - at);
    Bytes block(bound);
    block.resize(compress(text.data() + at, bytes, block.data(), bound));
    blocks.bytes += block.size();
    blocks.compressed.push_back(std::move(block));
  }
  return blocks;
}

Blocks lz4_blocks(const Bytes& text) {
  return in_blocks(text, LZ4_COMPRESSBOUND(block_bytes),
                   [](const uint8_t* from, size_t bytes, uint8_t* to, size_t room) {
                     return static_cast<size_t>(LZ4_compress_default(
                         reinterpret_cast<const char*>(from), reinterpret_cast<char*>(to),
                         static_cast<int>(bytes), static_cast<int>(room)));
                   });
}

void lz4_expand(const Blocks& blocks, uint8_t* out) {
  for (const Bytes& block : blocks.compressed)
    out += LZ4_decompress_safe(reinterpret_cast<const char*>(block.data()),
                               reinterpret_cast<char*>(out), static_cast<int>(block.size()),
                               static_cast<int>(block_bytes));
}

Blocks zstd_blocks(const Bytes& text) {
  return in_blocks(text, ZSTD_COMPRESSBOUND(block_bytes),
                   [](const uint8_t* from, size_t bytes, uint8_t* to, size_t room) {
                     return ZSTD_compress(to, room, from, bytes, 1);
                   });
}

void zstd_expand(ZSTD_DCtx* ctx, const Blocks& blocks, uint8_t* out) {
  for (const Bytes& block : blocks.compressed)
    out += ZSTD_decompressDCtx(ctx, out, block_bytes, block.data(), block.size());
}

// A text as a stream of one width, with the table taken out of it for the scalar lines.
struct Stream {
  host::StreamBuffer image;
  host::WpakStream facts;
  std::vector<uint64_t> symbols;
  std::vector<uint8_t> lengths;

  Stream(const Bytes& text, uint32_t code_bits)
      : image(host::write_wpak(text, {.code_bits = code_bits}).value()),
        facts(host::wpak_validate(image.data(), image.size()).value()),
        symbols(facts.symbols) {
    const uint8_t* at = image.data() + 18;
    for (uint32_t i = 0; i < facts.symbols; ++i)
      lengths.push_back(i % 2 == 0 ? at[i / 2] >> 4 : at[i / 2] & 15);
    at += (facts.symbols + 1) / 2;
    for (uint32_t i = 0; i < facts.symbols; ++i) {
      std::memcpy(&symbols[i], at, lengths[i]);
      at += lengths[i];
    }
  }
  WpakCodes codes() const {
    return {image.data() + facts.codes_at, facts.codes, facts.code_bits, symbols.data(),
            lengths.data()};
  }
};

uint32_t decode(host::HostServices& services, const Stream& stream, uint8_t* out) {
  colx_env* const env = services.env();
  colx_decode_env decode_env = {env->colx_env_host, env->colx_env_heap, env->colx_env_alloc,
                                env->colx_env_free};
  uint32_t length = 0;
  return colx_wpak_decode_dydi(&decode_env, stream.image.data(), out, &length, text_bytes);
}

// Why a line's output is not the text; every line of a contest has to pass.
template <class Line>
std::string fault_of(const char* name, const Bytes& text, uint8_t* out, Line line) {
  std::memset(out, 0, text.size());
  line();
  return std::memcmp(out, text.data(), text.size()) == 0 ? ""
                                                         : std::string(name) + " gives other bytes";
}

Contest contest_of(const SampleText& text, uint32_t code_bits, bool by_words) {
  const auto stream = std::make_shared<Stream>(text.bytes, code_bits);
  const auto services =
      std::make_shared<host::HostServices>(colx_dispatch_table, colx_wpak_decode_dydi);
  uint8_t* const out = output_bytes(in_l2);
  Contest contest;
  contest.kernel = [=](unsigned) { decode(*services, *stream, out); };
  if (by_words) {
    const auto blocks = std::make_shared<Blocks>(lz4_blocks(text.bytes));
    contest.scalar = [=](unsigned) { scalar_wpak_words(stream->codes(), out, out + text_bytes); };
    contest.peer = [=](unsigned) { lz4_expand(*blocks, out); };
  } else {
    const auto blocks = std::make_shared<Blocks>(zstd_blocks(text.bytes));
    const std::shared_ptr<ZSTD_DCtx> ctx(ZSTD_createDCtx(), ZSTD_freeDCtx);
    contest.scalar = [=](unsigned) { scalar_wpak_bytes(stream->codes(), out); };
    contest.peer = [=](unsigned) { zstd_expand(ctx.get(), *blocks, out); };
  }
  contest.limit = [=, &text](unsigned) { std::memcpy(out, text.bytes.data(), text_bytes); };
  contest.fault = fault_of("the kernel", text.bytes, out, [&] { contest.kernel(0); });
  contest.fault += fault_of("the scalar loop", text.bytes, out, [&] { contest.scalar(0); });
  contest.fault += fault_of("the peer", text.bytes, out, [&] { contest.peer(0); });
  return contest;
}

void print_ratios() {
  std::printf("plain bytes for each compressed byte, %zu KB of text\n", text_bytes >> 10);
  std::printf("%-12s %9s %9s %9s %9s %14s %14s\n", "text", "wpak", "at 8 bit", "at 9 bit",
              "at 10 bit", "LZ4, 64 KB", "zstd -1, 64 KB");
  for (const SampleText& text : texts()) {
    const auto ratio = [&](size_t bytes) { return double(text.bytes.size()) / double(bytes); };
    std::printf("%-12s %9.2f", text.name, ratio(host::write_wpak(text.bytes)->size()));
    for (const uint32_t code_bits : {8, 9, 10})
      std::printf(" %9.2f", ratio(host::write_wpak(text.bytes, {.code_bits = code_bits})->size()));
    std::printf(" %14.2f %14.2f\n", ratio(lz4_blocks(text.bytes).bytes),
                ratio(zstd_blocks(text.bytes).bytes));
  }
  std::printf(
      "\nA row is a byte of text. The limit is memcpy of the text; peers are LZ4 beside the "
      "loop by words\nand zstd -1 beside the loop by bytes.\n\n");
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SampleText& text : texts())
    for (const uint32_t code_bits : {8, 9, 10})
      for (const bool by_words : {true, false}) {
        const std::string name = "wpak " + std::to_string(code_bits) + "bit " + text.name;
        cases.push_back({name + (by_words ? " by words" : " by bytes"),
                         by_words ? "LZ4" : "zstd -1", in_l2, text_bytes, 2 * text_bytes,
                         [=, &text] { return contest_of(text, code_bits, by_words); }});
      }
  print_ratios();
  return {cases, targets};
}

}  // namespace colx::bench
