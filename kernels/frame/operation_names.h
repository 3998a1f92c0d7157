// Names of the parts of a dispatch index, and the library's own use of the table.
#pragma once

#include "kernels/frame/colx_x86.h"

#pragma GCC visibility push(hidden)
extern "C" {

// "E^R^R^O^R" for an unknown operation, and under rle for all but burst.
const char* colx_overload_opc_name(uint32_t opc, uint32_t enc);

// "Yo" for 0, "flag1" for 1, else null.
const char* colx_flag_name(uint32_t flag);

// Name of an encoding 0 to 3, else null.
const char* colx_enc_name(uint32_t enc);

// Jumps to the decode_unpack kernel of the source's colx_enc_ctx_key; the slot must be filled.
uint32_t colx_dispatch_decode_unpack(colx_cv* res, colx_cv* src, colx_kctx* kctx);

}  // extern "C"
#pragma GCC visibility pop
