// Columns for decoders: random codes below a bound, a dictionary of texts, runs of random lengths.

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "host/column.h"
#include "host/encode_codes.h"
#include "host/slot_parts.h"
#include "tools/console/figures.h"
#include "tools/inspect/kernel_work.h"

namespace colx::inspect {
namespace {

using namespace colx::host;

// Kernels of steps store whole blocks behind the rows while there is room for a block.
constexpr size_t block_room = 128;

struct Decoding {
  std::vector<uint64_t> codes;
  StoredColumn column;
  colx_decode_fn kernel = nullptr;
  const char* kernel_name = nullptr;
  uint32_t code_bytes = 0;  // of an unpacked code
  std::vector<std::string> symbols;
  std::vector<uint8_t> unpacked;  // output of unpacking, input of symbol decoding
  std::vector<uint32_t> row_list;
  std::vector<const char*> pointers;
  std::vector<uint16_t> lengths, flags;
};

Result<std::shared_ptr<Decoding>> make_codes(const WorkOrder& order, uint64_t codes_used) {
  const uint32_t bits = width_bits(order.kernel);
  auto made = std::make_shared<Decoding>();
  std::mt19937_64 random(order.seed);
  made->codes.resize(order.rows);
  for (uint64_t& code : made->codes) code = random() % codes_used;
  auto column = store_codes(made->codes, {.width_bits = bits});
  if (!column) return column.error();
  made->column = std::move(*column);
  auto kernel = order.library.decode_kernel(parts_of_slot(order.kernel.index).operation,
                                            key_of_slot(order.kernel.index));
  if (!kernel) return kernel.error();
  made->kernel = *kernel;
  made->kernel_name = order.kernel.name.data();
  made->code_bytes = bits <= 8 ? 1 : bits <= 16 ? 2 : 4;
  return made;
}

constexpr uint64_t dictionary_codes(uint32_t bits) {
  return uint64_t{1} << std::min(bits, 12u);
}

// Codes with a dictionary of texts of 3 to 11 bytes: the code and filling.
Result<std::shared_ptr<Decoding>> make_texts(const WorkOrder& order) {
  const uint64_t codes_used = dictionary_codes(width_bits(order.kernel));
  auto codes = make_codes(order, codes_used);
  if (!codes) return codes.error();
  Decoding& made = **codes;
  std::vector<std::string_view> views;
  made.symbols.reserve(codes_used);
  for (uint64_t code = 0; code < codes_used; ++code)
    made.symbols.push_back(fmt::format("{:03}", code) + std::string(code * 7 % 8, 'x'));
  views.assign(made.symbols.begin(), made.symbols.end());
  auto image = DictionaryImage::write(views);
  if (!image) return image.error();
  made.column.dictionary = std::make_shared<const DictionaryImage>(std::move(*image));
  const size_t rows = made.column.chunks.front().rows;
  made.row_list.resize(rows);
  std::iota(made.row_list.begin(), made.row_list.end(), 0u);
  made.pointers.resize(rows);
  made.lengths.resize(rows);
  made.flags.resize(rows);
  return codes;
}

std::string codes_text(const Decoding& made, uint32_t bits) {
  return fmt::format("{} of random codes of {} bit{}",
                     console::bytes_text(made.column.stream_bytes()), bits, bits == 1 ? "" : "s");
}

// Runs the kernel on `source`; errors name it and the batch.
Result<uint64_t> decoded_rows(const Decoding& made, size_t batch, colx_cv result, colx_cv* source,
                              colx_kctx kctx = {}) {
  const uint32_t status = made.kernel(&result, source, &kctx);
  if (status != COLX_DONE)
    return make_error("%s returned status %u for batch %zu", made.kernel_name, status, batch);
  return uint64_t{result.colx_cv_num_set};
}

uint64_t unpacked_code(const Decoding& made, size_t row) {
  uint32_t code = 0;
  std::memcpy(&code, made.unpacked.data() + row * made.code_bytes, made.code_bytes);
  return code;
}

bool decoded_right(const Decoding& made, size_t batch) {
  const uint64_t* const codes = made.codes.data() + batch * max_chunk_rows;
  for (uint32_t row = 0; row < made.column.chunks[batch].rows; ++row)
    if (made.flags[row] != 0 ||
        std::string_view(made.pointers[row], made.lengths[row]) != made.symbols[codes[row]])
      return false;
  return true;
}

colx_cv decoded_result(Decoding& made) {
  colx_cv result{};
  result.colx_cv_data = made.pointers.data();
  result.colx_cv_aux = made.lengths.data();
  result.colx_cv_row_flags = made.flags.data();
  return result;
}

// What the works have in common: all but the kernel's arguments and what is right.
KernelWork work_on(const WorkOrder& order, const Decoding& made, uint64_t column_bytes) {
  KernelWork work;
  work.expected = order.rows;
  work.column_bytes = column_bytes;
  work.batches = made.column.chunks.size();
  return work;
}

// The same for kernels that give values.
KernelWork work_on_texts(const WorkOrder& order, const std::shared_ptr<Decoding>& made,
                         uint64_t column_bytes) {
  KernelWork work = work_on(order, *made, column_bytes);
  work.found = "values";
  work.is_right = [made](size_t batch) { return decoded_right(*made, batch); };
  return work;
}

}  // namespace

Result<KernelWork> make_unpack_work(const WorkOrder& order) {
  const uint32_t bits = width_bits(order.kernel);
  auto codes = make_codes(order, uint64_t{1} << bits);
  if (!codes) return codes.error();
  const auto made = *codes;
  made->unpacked.resize((made->column.chunks.front().rows + block_room) * made->code_bytes);
  KernelWork work = work_on(order, *made, made->column.stream_bytes());
  work.data = codes_text(*made, bits);
  work.found = made->code_bytes == 1 ? "codes of 1 byte"
                                     : fmt::format("codes of {} bytes", made->code_bytes);
  work.run = [made](size_t batch) -> Result<uint64_t> {
    ChunkVector source(made->column, batch);
    colx_cv result{};
    result.colx_cv_data = made->unpacked.data();
    result.colx_cv_num_of_rows = source.chunk().rows + block_room;
    return decoded_rows(*made, batch, result, source.cv());
  };
  work.is_right = [made](size_t batch) {
    const uint64_t* const wanted = made->codes.data() + batch * max_chunk_rows;
    for (uint32_t row = 0; row < made->column.chunks[batch].rows; ++row)
      if (unpacked_code(*made, row) != wanted[row]) return false;
    return true;
  };
  return work;
}

Result<KernelWork> make_decode_work(const WorkOrder& order) {
  auto texts = make_texts(order);
  if (!texts) return texts.error();
  const auto made = *texts;
  KernelWork work = work_on_texts(order, made, made->column.stream_bytes());
  work.data = fmt::format("{}, every row, a dictionary of {} texts",
                          codes_text(*made, width_bits(order.kernel)),
                          console::grouped(made->symbols.size()));
  work.run = [made](size_t batch) -> Result<uint64_t> {
    ChunkVector source(made->column, batch);
    colx_kctx kctx{};
    kctx.colx_kctx_rows = made->row_list.data();
    kctx.colx_kctx_num_rows = source.chunk().rows;
    return decoded_rows(*made, batch, decoded_result(*made), source.cv(), kctx);
  };
  return work;
}

Result<KernelWork> make_symbol_work(const WorkOrder& order) {
  auto texts = make_texts(order);
  if (!texts) return texts.error();
  const auto made = *texts;
  made->unpacked.resize(order.rows * made->code_bytes);
  for (size_t row = 0; row < order.rows; ++row)
    std::memcpy(made->unpacked.data() + row * made->code_bytes, &made->codes[row],
                made->code_bytes);
  KernelWork work = work_on_texts(order, made, made->unpacked.size());
  work.data = fmt::format("{} of random codes in arrays, a dictionary of {} texts",
                          console::bytes_text(made->unpacked.size()),
                          console::grouped(made->symbols.size()));
  work.run = [made](size_t batch) -> Result<uint64_t> {
    ChunkVector column(made->column, batch);
    colx_cv source{};
    source.colx_cv_data = made->unpacked.data() + batch * max_chunk_rows * made->code_bytes;
    source.colx_cv_num_of_rows = column.chunk().rows;
    source.colx_cv_encoding_context = column.encoding();
    return decoded_rows(*made, batch, decoded_result(*made), &source);
  };
  return work;
}

}  // namespace colx::inspect
