// Two columns of numbers for arithmetic. They are whole and from 0 to 15, so that every result and
// every sum of a batch is exact, in whatever order it is made.

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "host/big_endian.h"
#include "host/column.h"
#include "host/slot_parts.h"
#include "tools/console/figures.h"
#include "tools/inspect/kernel_work.h"

namespace colx::inspect {
namespace {

using namespace colx::host;

struct Arithmetic {
  uint32_t opc = 0;
  uint32_t number_bytes = 0;
  bool is_sum = false;
  colx_binary_fn kernel = nullptr;
  std::vector<uint8_t> numbers[2];  // as they are
  std::vector<uint8_t> stored[2];   // as the kernel reads them
  std::vector<uint8_t> results;     // of a batch
  uint64_t rows = 0;

  uint32_t batch_rows(size_t batch) const {
    return static_cast<uint32_t>(
        std::min<uint64_t>(max_chunk_rows, rows - uint64_t{batch} * max_chunk_rows));
  }
};

double number_at(const uint8_t* at, uint32_t bytes) {
  if (bytes == 8) {
    double number;
    std::memcpy(&number, at, sizeof number);
    return number;
  }
  float number;
  std::memcpy(&number, at, sizeof number);
  return number;
}

void put_number(std::vector<uint8_t>& to, size_t row, uint32_t bytes, unsigned number) {
  const auto wide = static_cast<double>(number);
  const auto narrow = static_cast<float>(number);
  std::memcpy(&to[row * bytes], bytes == 8 ? static_cast<const void*>(&wide) : &narrow, bytes);
}

// None of the numbers is negative: the sign bit is set, first byte most significant.
void make_canonical(std::vector<uint8_t>& numbers, uint32_t bytes) {
  for (size_t at = 0; at < numbers.size(); at += bytes) {
    std::reverse(&numbers[at], &numbers[at] + bytes);
    numbers[at] ^= 0x80;
  }
}

double combined(uint32_t opc, double left, double right) {
  return opc == COLX_OPC_ADD ? left + right : opc == COLX_OPC_SUB ? left - right : left * right;
}

bool batch_is_right(const Arithmetic& made, size_t batch) {
  const uint32_t bytes = made.number_bytes;
  const size_t first = batch * max_chunk_rows;
  double sum = 0;
  for (uint32_t row = 0; row < made.batch_rows(batch); ++row) {
    const double wanted =
        combined(made.opc, number_at(&made.numbers[0][(first + row) * bytes], bytes),
                 number_at(&made.numbers[1][(first + row) * bytes], bytes));
    sum += wanted;
    if (!made.is_sum && number_at(&made.results[size_t{row} * bytes], bytes) != wanted)
      return false;
  }
  return !made.is_sum || number_at(made.results.data(), bytes) == sum;
}

Result<uint64_t> run_batch(Arithmetic& made, size_t batch) {
  const uint32_t rows = made.batch_rows(batch);
  const size_t offset = batch * max_chunk_rows * made.number_bytes;
  colx_enc_ctx encoding{};
  colx_cv operands[2]{};
  for (int side = 0; side < 2; ++side) {
    operands[side].colx_cv_data = made.stored[side].data() + offset;
    operands[side].colx_cv_num_of_rows = rows;
    operands[side].colx_cv_encoding_context = &encoding;
  }
  // A sum may be added to what stands there.
  if (made.is_sum) std::fill_n(made.results.begin(), made.number_bytes, uint8_t{0});
  colx_cv result{};
  result.colx_cv_data = made.results.data();
  colx_kctx kctx{};
  const uint32_t status = made.kernel(&result, &operands[0], &operands[1], &kctx);
  if (status != COLX_DONE) return make_error("arithmetic returned status %u", status);
  return uint64_t{rows};
}

}  // namespace

Result<KernelWork> make_arithmetic_work(const WorkOrder& order) {
  constexpr size_t slack = 16;
  const auto made = std::make_shared<Arithmetic>();
  const host::SlotParts parts = host::parts_of_slot(order.kernel.index);
  const uint32_t code = parts.width_code;
  made->opc = parts.operation;
  made->number_bytes = code & COLX_WIDTH_DOUBLE ? 8 : 4;
  made->is_sum = parts.variant;
  made->rows = order.rows;
  auto kernel = order.library.binary_kernel(made->opc, host::key_of_slot(order.kernel.index));
  if (!kernel) return kernel.error();
  made->kernel = *kernel;
  std::mt19937_64 random(order.seed);
  const uint32_t canonical[] = {COLX_WIDTH_LEFT_CANONICAL, COLX_WIDTH_RIGHT_CANONICAL};
  for (int side = 0; side < 2; ++side) {
    made->numbers[side].resize(order.rows * made->number_bytes);
    for (size_t row = 0; row < order.rows; ++row)
      put_number(made->numbers[side], row, made->number_bytes, random() % 16);
    made->stored[side] = made->numbers[side];
    if (code & canonical[side]) make_canonical(made->stored[side], made->number_bytes);
    made->stored[side].resize(made->stored[side].size() + slack);
  }
  made->results.resize(size_t{max_chunk_rows} * made->number_bytes + slack);

  KernelWork work;
  work.column_bytes = 2 * order.rows * made->number_bytes;
  work.data = fmt::format("two columns, {}, of {}", console::bytes_text(work.column_bytes),
                          made->number_bytes == 8 ? "doubles" : "floats");
  work.found = made->is_sum ? "rows summed" : "results";
  work.expected = order.rows;
  work.batches = (order.rows + max_chunk_rows - 1) / max_chunk_rows;
  work.run = [made](size_t batch) { return run_batch(*made, batch); };
  work.is_right = [made](size_t batch) { return batch_is_right(*made, batch); };
  return work;
}

}  // namespace colx::inspect
