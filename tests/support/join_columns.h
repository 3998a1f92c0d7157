// What a call of the hash build or probe starts from: a column of keys, one of values, a kctx.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"
#include "tests/support/key_column.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct JoinRows {
  KeyBatch keys;
  bool autorid = true;
  uint64_t base_rid = 0;
  std::vector<uint64_t> values;  // of an array; as many as rows
  uint32_t payload_flags = 0;    // beside COLX_AUTORID
};

// Rows of a layout at either edge, with row ids or values drawn at random.
JoinRows join_rows(oracle::KeyLayout layout, bool autorid, std::vector<KeyRow> rows,
                   Random& random);

// Rows that fit a kernel: its layout, values as it wants them.
template <class Kernel>
JoinRows join_rows(const Kernel& kernel, std::vector<KeyRow> rows, Random& random) {
  return join_rows(kernel.form.layout, kernel.form.autorid, std::move(rows), random);
}

// Places the rows. Records bring their values along: theirs is an array of none.
void set_columns(KeyColumn& keys, PayloadColumn& payload, const JoinRows& rows,
                 unsigned value_bytes);

// A kctx at row 0 that is dirty where a join reads nothing, with pointers to `nowhere`.
void start_at_row_0(colx_kctx& kctx, uint8_t* nowhere);

// The first of what a join leaves in a kctx that differs; empty if no byte does.
std::string kctx_difference(const colx_kctx& now, const colx_kctx& expected);

}  // namespace colx::test
