#include "host/encode_codes.h"

#include <algorithm>
#include <bit>
#include <utility>
#include <vector>

namespace colx::host {
namespace {

uint64_t largest_at(uint32_t width_bits) {
  return ~uint64_t{0} >> (64 - width_bits);
}

// Writes bits from the top of each byte down. Bits wait in the low end of `waiting` until they make
// a byte.
class BitWriter {
 public:
  explicit BitWriter(uint8_t* at) : at_(at) {}

  void write(uint64_t code, uint32_t width_bits) {
    for (uint32_t left = width_bits; left > 0;) {
      const uint32_t taken = std::min(left, 8 - waiting_bits_);
      left -= taken;
      waiting_ = waiting_ << taken | (code >> left & ((1u << taken) - 1));
      waiting_bits_ += taken;
      if (waiting_bits_ == 8) flush();
    }
  }
  void finish() {
    if (!waiting_bits_) return;
    waiting_ <<= 8 - waiting_bits_;
    flush();
  }

 private:
  void flush() {
    *at_++ = static_cast<uint8_t>(waiting_);
    waiting_ = 0;
    waiting_bits_ = 0;
  }
  uint8_t* at_;
  uint64_t waiting_ = 0;
  uint32_t waiting_bits_ = 0;
};

Result<void> check_codes(std::span<const uint64_t> codes, uint32_t width_bits) {
  if (auto served = ColumnFormat{Encoding::dict, width_bits}.check(); !served)
    return served.error();
  for (size_t row = 0; row < codes.size(); ++row)
    if (codes[row] > largest_at(width_bits))
      return make_error("row %zu: code %llu does not fit %u bits; the largest that does is %llu",
                        row, static_cast<unsigned long long>(codes[row]), width_bits,
                        static_cast<unsigned long long>(largest_at(width_bits)));
  return {};
}

StreamBuffer pack_checked(std::span<const uint64_t> codes, uint32_t width_bits) {
  StreamBuffer stream((codes.size() * width_bits + 7) / 8);
  BitWriter writer(stream.data());
  for (const uint64_t code : codes) writer.write(code, width_bits);
  writer.finish();
  return stream;
}

Result<void> store_chunk_runs(Chunk& chunk, std::span<const uint64_t> codes, uint32_t width_bits,
                              const RunLengthOptions& form) {
  const std::vector<CodeRun> runs = find_runs(codes, max_run_rows(form.length_bits));
  auto written = write_runs(runs, form.length_bits, form.positions);
  if (!written) return written.error();
  std::vector<uint64_t> codes_of_runs;
  codes_of_runs.reserve(runs.size());
  for (const CodeRun& run : runs) codes_of_runs.push_back(run.code);
  chunk.data = pack_checked(codes_of_runs, width_bits);
  chunk.runs = std::move(written).value();
  return {};
}

Result<void> check_length_bits(const std::optional<RunLengthOptions>& runs) {
  if (!runs || !runs->length_bits || runs->length_bits == 8 || runs->length_bits == 16) return {};
  return make_error("run lengths of %u bits: use 8 or 16", runs->length_bits);
}

}  // namespace

uint32_t narrowest_code_width(uint64_t largest) {
  const auto bits = static_cast<uint32_t>(std::bit_width(largest));
  return bits <= 1 ? 1 : bits <= 20 ? bits : bits <= 24 ? 24 : bits <= 32 ? 32 : 64;
}

Result<StreamBuffer> pack_codes(std::span<const uint64_t> codes, uint32_t width_bits) {
  if (auto fit = check_codes(codes, width_bits); !fit) return fit.error();
  return pack_checked(codes, width_bits);
}

Result<StoredColumn> store_codes(std::span<const uint64_t> codes, const CodeOptions& options) {
  if (auto sound = check_chunk_rows(options.chunk_rows); !sound) return sound.error();
  if (auto sound = check_length_bits(options.runs); !sound) return sound.error();
  const uint32_t width_bits =
      options.width_bits
          ? options.width_bits
          : narrowest_code_width(codes.empty() ? 0 : *std::ranges::max_element(codes));
  if (auto fit = check_codes(codes, width_bits); !fit) return fit.error();

  RunLengthOptions form = options.runs.value_or(RunLengthOptions{});
  if (options.runs && !form.length_bits)
    form.length_bits = choose_length_bits(codes, options.chunk_rows, width_bits, form.positions);
  StoredColumn column;
  column.format = {Encoding::dict, width_bits, options.zero_is_null};
  for (size_t first = 0; first < codes.size(); first += options.chunk_rows) {
    const auto part =
        codes.subspan(first, std::min<size_t>(options.chunk_rows, codes.size() - first));
    Chunk& chunk = column.chunks.emplace_back();
    chunk.rows = static_cast<uint32_t>(part.size());
    if (!options.runs) {
      chunk.data = pack_checked(part, width_bits);
    } else if (auto written = store_chunk_runs(chunk, part, width_bits, form); !written) {
      return written.error();
    }
  }
  return column;
}

}  // namespace colx::host
