#include "tests/support/undefined_inputs.h"

#include <array>
#include <iterator>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/dict_oracle.h"
#include "tests/support/dict_batch.h"

namespace colx::test {
namespace {

bool is_dict_predicate(uint32_t slot) {
  return (slot & 31) <= COLX_OPC_GE_LE && (slot >> 5 & 3) == COLX_ENC_DICT;
}

bool does_not_fit(uint64_t constant, unsigned width_bits) {
  return width_bits < 64 && constant >> width_bits != 0;
}

bool packed_constant_too_wide(const InputFacts& f) {
  if (!is_dict_predicate(f.slot)) return false;
  const oracle::DictScan scan = dict_scan_at(f.slot);
  if (scan.width_bits == 1 || is_aligned_width(scan.width_bits)) return false;
  return does_not_fit(f.lo, scan.width_bits) ||
         (oracle::is_range(scan.opc) && does_not_fit(f.hi, scan.width_bits));
}

bool every_row_of_none(const InputFacts& f) {
  if (!is_dict_predicate(f.slot) || f.rows != 0) return false;
  const oracle::DictScan scan = dict_scan_at(f.slot);
  return scan.width_bits == 1 &&
         oracle::one_bit_result(scan.opc, scan.null_form, f.lo, f.hi) == oracle::OneBitResult::all;
}

bool compressed_without_kctx(const InputFacts& f) {
  return f.compressed && !f.has_kctx;
}
bool run_length_without_kctx(const InputFacts& f) {
  return f.run_length && !f.has_kctx;
}

constexpr UndefinedInput table[] = {
    {"every kernel that reads a column", "the column is compressed and kctx is null",
     "always passes a kctx", compressed_without_kctx},
    {"every scan", "the column is run-length encoded and kctx is null", "always passes a kctx",
     run_length_without_kctx},
    {"every kernel that reads a column", "colx_env_alloc_cached returns null",
     "its allocator reports through host_raise_internal, which ends the program", nullptr},
    {"every kernel that reads a column",
     "two calls at once are the first to touch one compressed column",
     "holds a lock around the first touch of a chunk", nullptr},
    {"colx_<op>_dict_<w>bit and its _null form, w of 2 to 7, 9 to 15, 17 to 20, 24",
     "a constant does not fit in w bits (steps and tail may disagree; memory stays safe)",
     "refuses the predicate", packed_constant_too_wide},
    {"colx_<op>_dict_<w>bit and its _null form, w of 2 to 7, 9 to 15, 17 to 20, 24",
     "rows * w reaches 2^32: the tail takes the bit position as a 32-bit number",
     "chunks hold at most 65536 rows", nullptr},
    {"colx_le_dict_1bit, colx_ge_dict_1bit, colx_ge_le_dict_1bit",
     "the constants select every row and there are 0 rows", "refuses the scan", every_row_of_none},
    {"colx_<op>_fixed_32bit, colx_<op>_fixed_64bit and their _tz forms",
     "the row width is not 24 or 32 at 32 bits, not 40, 48, 56 or 64 at 64 bits (lanes are not "
     "rows)",
     "picks the kernel by the width", nullptr},
    {"colx_<op>_dynp_64bit and its _tz form",
     "a row of the tail or of a walked selection has a code of 8 or more (more than a lane is "
     "read)",
     "writes codes of 0 to 7 only", nullptr},
    {"colx_dispatch_decode_unpack", "the column's decode_unpack slot is empty",
     "writes only keys whose slot is filled", nullptr},
    {"colx_decode_unpack_dict_<w>bit", "colx_kctx_position is above the source's row count",
     "goes on at the row behind the last one looked at", nullptr},
    {"colx_decode_unpack_dict_<w>bit and colx_decode_dict_<w>bit on a row list",
     "a row is not below the row count", "refuses the list", nullptr},
    {"colx_decode_unpack_dict_<w>bit on a row list, colx_decode_dict_<w>bit",
     "the list is empty and the entry at index 0xFFFFFFFF cannot be read",
     "answers an empty list itself", nullptr},
    {"colx_decode_unpack_dict_<w>bit on a row list of a run-length column", "the rows do not rise",
     "refuses the list", nullptr},
    {"colx_decode_unpack_dict_<w>bit on a range of a run-length column",
     "a run between the first and the last row of the range has no rows (in-place expansion)",
     "writes runs of at least one row", nullptr},
    {"colx_decode_unpack_dict_<w>bit on a run-length column",
     "colx_enc_ctx_rle_width is neither 8 nor 16, or the lengths do not cover the rows",
     "writes lengths of 8 or 16 bits that do", nullptr},
    {"colx_burst_rle_<w>bit and its cla form", "the runs have more rows than the result",
     "writes chunks whose runs have the chunk's rows", nullptr},
    {"colx_decode_dict_<w>bit, colx_decode_symbol_dict_<w>bit, colx_set_dict_<w>bit",
     "a code is not in the dictionary or the code table", "writes codes that are", nullptr},
    {"colx_decode_symbol_dict_<w>bit", "the one length is 0 and colx_cv_row_flags is null",
     "always passes indicators", nullptr},
    {"colx_partition_<records>_<key>_<carried>",
     "a hash leads to a partition that has no cursor, or the array of ends is null",
     "makes a partition for every number that the fields of the hash can give", nullptr},
    {"colx_partition_<records>_<key>_<carried>", "a cursor lies behind its partition's end",
     "keeps cursors within their buffers", nullptr},
    {"colx_partition_<records>_<key>_<carried>", "colx_part_hi or colx_part_shift is above 63",
     "refuses the field", nullptr},
    {"colx_partition_lv_hash_values", "a record is shorter than the hash that it begins with",
     "hands in only what the lv kernels wrote", nullptr},
    {"colx_gather_<store>_<result>_<index>",
     "an index leads past the pages of the store or the entries of a page", "checks the indices",
     nullptr},
    {"colx_gather_<store>_<result>_<index>",
     "colx_store_page_shift is above 64, or colx_store_page_hi above 63", "writes neither",
     nullptr},
    {"colx_gather_<store>_<result>_fixed", "the index has more than 8 bytes", "refuses the vector",
     nullptr},
    {"colx_gather_<store>_dlp_<index>, colx_gather_dlp_<result>_<index>, colx_gather_<result>_dlp",
     "colx_enc_ctx_dlp_bits is above 63", "refuses the vector", nullptr},
    {"colx_gather_<store>_<result>_<index>, colx_gather_<result>_<index>", "kctx is null",
     "always passes a kctx", nullptr},
    {"colx_transpose_reference_lv, colx_transpose_reference_lv_sep, colx_transpose_reference_lp",
     "the block is negative (the matrix at `base` serves fixed and lp_sep alone)",
     "always passes a block", nullptr},
    {"colx_transpose_convert_<row|col>_cla",
     "`from` is above 0 and the entry before the offset position cannot be read",
     "keeps the offsets in one array", nullptr},
    {"colx_<op>_<type>_<l>_<r> and its _sum form",
     "an operand that is not the constant holds fewer rows than the larger of the two counts",
     "passes columns of one row count", nullptr},
    {"colx_gby_sum_dydi", "a key is not below the number of accumulators",
     "sizes accumulators by the key space", nullptr},
    {"colx_hash_dydi", "there are fewer seeds than rows, and not one seed", "passes one seed",
     nullptr},
    {"colx_hash_dydi on a dict column",
     "the width is not 1 to 25, or a code is not in the dictionary (codes above 25 bits lose bits)",
     "hashes no dictionary columns", nullptr},
    {"colx_ht_build_dydi, colx_ht_probe_dydi",
     "a hash leads past the bucket arrays or the array of a partition",
     "sizes the arrays by the hash bits that it takes", nullptr},
    {"colx_ht_build_dydi, colx_ht_probe_dydi",
     "colx_ht_part_shift or colx_ht_part_low_bits is above 63", "writes neither", nullptr},
    {"colx_ht_build_dydi", "a bucket's header was not 0 before its first row",
     "clears the bucket arrays", nullptr},
    {"colx_ht_build_dydi",
     "the room between a cursor and its end is not whole buckets (the last one ends behind it)",
     "grants whole buckets", nullptr},
    {"colx_ht_build_dydi, colx_ht_probe_dydi on an lv or lv_sep column",
     "colx_kctx_key_offset is not where the row at colx_kctx_position begins",
     "makes no stream columns", nullptr},
    {"colx_ht_build_dydi", "two calls at once touch one partition",
     "says which builds may run at once", nullptr},
    {"colx_bloom_dydi", "the filter is partitioned and colx_enc_ctx_bloom_part_shift is above 31",
     "writes shifts below 32", nullptr},
    {"colx_bloom_dydi", "a masked hash leads past the filter's bits or partitions",
     "sizes the filter by its masks", nullptr},
    {"colx_bloom_dydi", "colx_kctx_start_row is above the row count, or kctx is null",
     "always passes a kctx, and refuses the row", nullptr},
    {"colx_bloom_dydi with a selection",
     "the word of colx_kctx_start_row cannot be read, as of a start at the row count",
     "keeps a spare word behind bit vectors", nullptr},
    {"colx_bloom_dydi", "the result vector is not clear", "clears it before the call", nullptr},
    {"colx_xlate_<form>_<element> and its twin", "kctx is null, or its first row is above the rows",
     "always passes a kctx and starts at row 0", nullptr},
    {"colx_xlate_<form>_<element> and its twin",
     "a key has no element: it is beyond the flat table, the pages or the page that it leads to",
     "reads the keys once and refuses those outside the table", nullptr},
    {"colx_xlate_ind_<element>_selective",
     "colx_enc_ctx_xlate_shift is 32 or more (of a walked row its remainder may count or not)",
     "builds pages of up to 2^31 elements", nullptr},
    {"colx_xlate_groupkey_<element>_c2d", "a code has no element in the table",
     "refuses codes that the table does not have", nullptr},
    {"colx_groupkey_dydi", "there are no columns", "refuses to bind none", nullptr},
    {"colx_groupkey_dydi", "the scratch has no room while rows and room are left (never returns)",
     "gives the scratch room for 2048 rows", nullptr},
    {"colx_groupkey_dydi", "a row list has more rows than the room or the scratch",
     "passes selections, no lists", nullptr},
    {"colx_groupkey_dydi",
     "colx_enc_ctx_width is 64 or more and column 0 has more than one symbol in the shifted form",
     "binds columns of up to 32 bits a code", nullptr},
};

std::array<uint64_t, std::size(table)> met = {};

}  // namespace

std::span<const UndefinedInput> undefined_inputs() {
  return table;
}

const UndefinedInput* undefined_input(const InputFacts& facts) {
  for (const UndefinedInput& row : table) {
    if (row.applies == nullptr || !row.applies(facts)) continue;
    ++met[static_cast<size_t>(&row - table)];
    return &row;
  }
  return nullptr;
}

uint64_t times_met(const UndefinedInput& row) {
  return met[static_cast<size_t>(&row - table)];
}

}  // namespace colx::test
