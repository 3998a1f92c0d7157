#include "kernels/frame/operation_names.h"

#include <iterator>

namespace {

constexpr const char* operation_names[] = {"eq",
                                           "lt",
                                           "gt",
                                           "le",
                                           "ge",
                                           "ne",
                                           "gt_lt",
                                           "gt_le",
                                           "ge_lt",
                                           "ge_le",
                                           "decode",
                                           "decode_unpack",
                                           "decode_symbol",
                                           "set",
                                           "burst",
                                           "sum",
                                           "distinct",
                                           "xlate",
                                           "bloom",
                                           "add",
                                           "sub",
                                           "mul"};
static_assert(std::size(operation_names) == COLX_OPC_COUNT);

constexpr const char* encoding_names[] = {"fixed", "dict", "dynp", "rle"};

constexpr const char* no_operation = "E^R^R^O^R";

}  // namespace

extern "C" {

const char* colx_overload_opc_name(uint32_t opc, uint32_t enc) {
  if (enc == COLX_ENC_RLE && opc != COLX_OPC_BURST) return no_operation;
  return opc < COLX_OPC_COUNT ? operation_names[opc] : no_operation;
}

const char* colx_flag_name(uint32_t flag) {
  if (flag == COLX_FORM_PLAIN) return "Yo";
  return flag == COLX_FORM_VARIANT ? "flag1" : nullptr;
}

const char* colx_enc_name(uint32_t enc) {
  return enc < std::size(encoding_names) ? encoding_names[enc] : nullptr;
}

uint32_t colx_dispatch_decode_unpack(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint8_t key = src->colx_cv_encoding_context->colx_enc_ctx_key;
  const colx_kernel_fn slot = colx_dispatch_table[colx_column_index(COLX_OPC_DECODE_UNPACK, key)];
  return reinterpret_cast<colx_decode_fn>(slot)(res, src, kctx);
}

}  // extern "C"
