// Cases of group keys: packed codes of several columns folded into one number a row.
#pragma once

#include <vector>

#include "bench/support/bench_program.h"

namespace colx::bench {

// "colx_groupkey_dydi 3+5+10 bits, shifted": columns of codes of these widths, in chunks of 4096
// rows.
Case group_key_case(const std::vector<unsigned>& widths, bool multiplied, const SizeClass& size);

}  // namespace colx::bench
