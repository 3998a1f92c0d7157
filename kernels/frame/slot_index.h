// The dispatch index in constant expressions: operations and encodings under the names that the
// registry's rows use, width codes and back.
#pragma once

#include "kernels/frame/colx_x86.h"

namespace colx {

enum class Op : uint32_t {
  eq,
  lt,
  gt,
  le,
  ge,
  ne,
  gt_lt,
  gt_le,
  ge_lt,
  ge_le,
  decode,
  decode_unpack,
  decode_symbol,
  set,
  burst,
  sum,
  distinct,
  xlate,
  bloom,
  add,
  sub,
  mul
};
static_assert(static_cast<uint32_t>(Op::ge_le) == COLX_OPC_GE_LE);
static_assert(static_cast<uint32_t>(Op::mul) == COLX_OPC_MUL);

enum class Enc : uint32_t {
  fixed,
  dict,
  dynp,
  rle,
  sim = fixed,
  off,
  ind,
  groupkey  // the table forms of xlate
};
static_assert(static_cast<uint32_t>(Enc::rle) == COLX_ENC_RLE);
static_assert(static_cast<uint32_t>(Enc::groupkey) == COLX_XLATE_GROUPKEY);

constexpr uint32_t width_code(uint32_t bits) {
  return bits <= 20 ? bits - 1 : bits == 24 ? 20 : bits == 32 ? 21 : 22;
}

constexpr uint32_t code_width(uint32_t code) {
  return code < 20 ? code + 1 : code == 20 ? 24 : code == 21 ? 32 : 64;
}

constexpr uint32_t slot_index(Op op, Enc enc, uint32_t code, uint32_t flag) {
  return static_cast<uint32_t>(op) | static_cast<uint32_t>(enc) << 5 | code << 7 | flag << 12;
}

static_assert(slot_index(Op::eq, Enc::dict, width_code(8), 0) == 928);
static_assert(slot_index(Op::eq, Enc::dict, width_code(8), 1) == 5024);
static_assert(slot_index(Op::eq, Enc::dict, width_code(1), 0) == 32);
static_assert(code_width(width_code(20)) == 20 && code_width(width_code(24)) == 24 &&
              code_width(width_code(32)) == 32 && code_width(width_code(64)) == 64);

}  // namespace colx
