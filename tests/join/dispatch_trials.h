// What the entries of build and probe are tried with: tables of every type and of some that are
// none, columns with every pair of flags. The first flag that serves decides.
#pragma once

#include <cstdint>

#include "kernels/frame/colx_x86.h"

namespace colx::test {

inline constexpr uint32_t tried_types[] = {
    0,      1,      2,      3,      4,      5,      6,      8,      9,      0xC,
    0x10,   0x20,   0x40,   0x80,   0x100,  0x200,  0x1000, 0x1001, 0x1002, 0x1004,
    0x1005, 0x1008, 0x1009, 0x100C, 0x1010, 0x100F, 0x2004, 0x3004, 0x3008, 0x80000008};
inline constexpr uint32_t tried_flags[] = {
    0,        COLX_NATIVE,     COLX_CONST,   COLX_HASH_VALUES, COLX_DICT,
    COLX_RLE, COLX_FIXED,      COLX_LV_SEP,  COLX_LV,          COLX_LP_SEP,
    COLX_LP,  COLX_COMPRESSED, COLX_HASHRID, COLX_RIDVALUE,    COLX_AUTORID,
    COLX_DLP, COLX_GD,         COLX_HASHGD};

struct DispatchTrial {
  uint32_t type;
  uint32_t src_flags;
  uint32_t payload_flags;
};

template <class Check>
void for_each_dispatch_trial(Check check) {
  for (const uint32_t type : tried_types) {
    for (const uint32_t flag : tried_flags) {
      for (const uint32_t flag_too : tried_flags) {
        for (const uint32_t payload_flags : {0u, uint32_t{COLX_AUTORID}, ~uint32_t{COLX_AUTORID}}) {
          check(DispatchTrial{type, flag | flag_too, payload_flags});
        }
      }
    }
  }
}

}  // namespace colx::test
