// Prototypes of everything that is reached through the dispatch table, and of the selective twins.
// Hidden C linkage: calls inside the library are direct, and an archive of the same objects lets
// tests and profilers reach each kernel under its own name.
#pragma once

#include "kernels/frame/colx_x86.h"
#include "kernels/frame/registry.h"

#pragma GCC visibility push(hidden)
extern "C" {

#define COLX_DECLARE(form, name, op, enc, code, flag) uint32_t name(COLX_PARAMS_##form);
#define COLX_DECLARE_TWIN(form, name, op, enc, code, flag) \
  uint32_t name##_selective(COLX_PARAMS_##form);
COLX_TABLE_KERNELS(COLX_DECLARE)
COLX_SELECTIVE_TWINS(COLX_DECLARE_TWIN)
#undef COLX_DECLARE
#undef COLX_DECLARE_TWIN

}  // extern "C"
#pragma GCC visibility pop
