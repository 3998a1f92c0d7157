#include "tests/oracle/value_rows_oracle.h"

#include <cstdlib>

namespace colx::oracle {
namespace {

// Where a row is tested: in a whole step, behind the last one, or on the walk of a selection.
enum class Path { step, tail, walk };

bool is_equality(uint32_t opc) {
  return opc == COLX_OPC_EQ || opc == COLX_OPC_NE;
}

int order(uint64_t a, uint64_t b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

// `lo` and `hi` are the orders of the row against the two constants.
bool selects_order(uint32_t opc, int lo, int hi) {
  switch (opc) {
    case COLX_OPC_EQ:
      return lo == 0;
    case COLX_OPC_NE:
      return lo != 0;
    case COLX_OPC_LT:
      return lo < 0;
    case COLX_OPC_LE:
      return lo <= 0;
    case COLX_OPC_GT:
      return lo > 0;
    case COLX_OPC_GE:
      return lo >= 0;
    case COLX_OPC_GT_LT:
      return lo > 0 && hi < 0;
    case COLX_OPC_GT_LE:
      return lo > 0 && hi <= 0;
    case COLX_OPC_GE_LT:
      return lo >= 0 && hi < 0;
    case COLX_OPC_GE_LE:
      return lo >= 0 && hi <= 0;
    default:
      std::abort();
  }
}

// One scan over one vector: how wide its rows are, where its steps end, where a row's bytes lie.
class ValueColumn {
 public:
  ValueColumn(const ValueScan& scan, const ValueInput& input, const ScanPlan& plan,
              const colx_cv& src)
      : scan_(scan), input_(input), by_walk_(plan.by_twin) {
    stepped_ = by_walk_ ? 0 : plan.rows / rows_per_step(scan) * rows_per_step(scan);
    width_bits_ = scan.word_bits;
    if (scan.reads_width()) {
      const uint32_t of_src = src.colx_cv_encoding_context->colx_enc_ctx_width;
      width_bits_ = (scan.tz && !by_walk_ ? of_src : input.args_width) & 0xFF;
    }
  }

  bool hit(uint32_t row) const {
    const Path path = by_walk_ ? Path::walk : row < stepped_ ? Path::step : Path::tail;
    const uint64_t value = scan_.is_fixed() ? fixed_value(row) : dynp_value(row, path);
    const bool two = is_range(scan_.opc);
    return selects_order(scan_.opc, against(input_.lo, value, row, path),
                         two ? against(input_.hi, value, row, path) : 0);
  }

 private:
  unsigned rows_per_group() const { return 8 / code_bits(scan_.word_bits); }

  // Where the data of a group begin. Length bytes are read up to the one before it and no further.
  uint64_t group_at(uint32_t group) const {
    while (group_at_.size() <= group) {
      group_at_.push_back(group_at_.back() +
                          group_bytes(input_.codes[group_at_.size() - 1], scan_.word_bits));
    }
    return group_at_[group];
  }

  uint64_t fixed_value(uint32_t row) const {
    const unsigned bytes = width_bits_ / 8;
    return value_at(input_.rows, uint64_t{row} * bytes, bytes);
  }

  // A step finds nothing but zeros in a group with an invalid nibble. Tail and walk go by the codes
  // of single rows.
  uint64_t dynp_value(uint32_t row, Path path) const {
    const uint32_t first = row / rows_per_group() * rows_per_group();
    const auto code = [this](uint32_t r) { return code_at(input_.codes, scan_.word_bits, r); };
    if (path == Path::step && scan_.word_bits == 64) {
      if (code(first) >= 8 || code(first + 1) >= 8) return 0;
    }
    uint64_t at = group_at(row / rows_per_group());
    for (uint32_t r = first; r < row; ++r) at += code(r) + 1;
    return value_at(input_.rows, at, code(row) + 1);
  }

  int against(const ValueConstant& constant, uint64_t value, uint32_t row, Path path) const {
    const int by_value = order(value, constant_value(constant, path));
    return by_value != 0 || !scan_.compares_codes() ? by_value : by_code(constant.tie, row, path);
  }

  // Bytes of a constant beyond the row width ought to be zero. If they are not, steps, walks and
  // the equality tail of 32-bit words compare them with zeros; the other tails drop them.
  uint64_t constant_value(const ValueConstant& constant, Path path) const {
    const bool whole = path != Path::tail || (scan_.word_bits == 32 && is_equality(scan_.opc));
    return whole || width_bits_ == 64 ? constant.value
                                      : constant.value & ~(~uint64_t{0} >> width_bits_);
  }

  // A step compares codes where they lie in their byte, the constant's shifted there in eight bits;
  // tail and walk compare whole bytes.
  int by_code(uint8_t tie, uint32_t row, Path path) const {
    const unsigned code = code_at(input_.codes, scan_.word_bits, row);
    if (path != Path::step) return order(code, tie);
    const unsigned bits = code_bits(scan_.word_bits);
    const unsigned up = bits * (rows_per_group() - 1 - row % rows_per_group());
    return order(static_cast<uint8_t>(code << up), static_cast<uint8_t>(tie << up));
  }

  const ValueScan& scan_;
  const ValueInput& input_;
  bool by_walk_;
  uint32_t stepped_ = 0;  // rows covered by whole steps
  unsigned width_bits_ = 0;
  mutable std::vector<uint64_t> group_at_ = {0};
};

}  // namespace

unsigned code_at(std::span<const uint8_t> codes, unsigned word_bits, uint32_t row) {
  const unsigned bits = code_bits(word_bits);
  const unsigned per_byte = 8 / bits;
  return codes[row / per_byte] >> bits * (per_byte - 1 - row % per_byte) & ((1u << bits) - 1);
}

std::vector<uint8_t> pack_row_codes(std::span<const uint8_t> codes, unsigned word_bits) {
  const unsigned bits = code_bits(word_bits);
  const unsigned per_byte = 8 / bits;
  std::vector<uint8_t> packed((codes.size() + per_byte - 1) / per_byte, 0);
  for (size_t row = 0; row < codes.size(); ++row) {
    packed[row / per_byte] |=
        static_cast<uint8_t>(codes[row] << bits * (per_byte - 1 - row % per_byte));
  }
  return packed;
}

unsigned group_bytes(uint8_t length_byte, unsigned word_bits) {
  const uint8_t bytes[] = {length_byte};
  unsigned sum = 0;
  for (uint32_t row = 0; row < 8 / code_bits(word_bits); ++row) {
    const unsigned code = code_at(bytes, word_bits, row);
    if (code >= word_bits / 8) return 16;
    sum += code + 1;
  }
  return sum;
}

uint64_t value_at(std::span<const uint8_t> rows, uint64_t offset, unsigned bytes) {
  uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) value |= uint64_t{rows[offset + i]} << (56 - 8 * i);
  return value;
}

bool refuses(const ValueScan& scan, const ValueConstant& lo, const ValueConstant& hi) {
  if (scan.is_fixed() || !scan.tz) return false;
  const unsigned longest = scan.word_bits / 8;
  return lo.tie > longest || (is_range(scan.opc) && hi.tie > longest);
}

ScanOutcome value_outcome(const ValueScan& scan, const ValueInput& input, const colx_cv& res,
                          const colx_cv& src, const colx_kctx* kctx) {
  if (refuses(scan, input.lo, input.hi)) return refused_outcome(res, kctx, COLX_NOT_SERVED);
  const ScanFamily family;
  const ValueColumn rows(scan, input, scan_plan(res, src, kctx, family), src);
  return scan_outcome(res, src, kctx, family,
                      {[&rows](uint32_t row) { return rows.hit(row); }, false});
}

}  // namespace colx::oracle
