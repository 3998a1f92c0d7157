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
     "reads through null", "always passes a kctx", "",
     "kernel_calls_test:KernelCalls.ReadColumnsWithAKctxAndServices", compressed_without_kctx},
    {"every scan", "the column is run-length encoded and kctx is null", "reads through null",
     "always passes a kctx", "", "kernel_calls_test:KernelCalls.ReadColumnsWithAKctxAndServices",
     run_length_without_kctx},
    {"every kernel that reads a column", "colx_env_alloc_cached returns null",
     "writes through null",
     "its allocator reports through host_raise_internal, which ends the program", "",
     "services_test:Services.ExhaustedMemoryIsReportedUnderTheCallersLabel", nullptr},
    {"every kernel that reads a column",
     "two calls at once are the first to touch one compressed column", "wrong answer, lost memory",
     "holds a lock around the first touch of a chunk", "",
     "value_scan_test:CompressedChunks.AreDecompressedOnceWhicheverThreadComesFirst", nullptr},
    {"colx_<op>_dict_<w>bit and its _null form, w of 2 to 7, 9 to 15, 17 to 20, 24",
     "a constant does not fit in w bits (steps and tail may disagree; memory stays safe)",
     "wrong answer", "refuses the predicate", "PreparedScan::on_codes",
     "refused_inputs_test:RefusedInputs.AreConstantsThatDoNotFitTheCodes",
     packed_constant_too_wide},
    {"colx_<op>_dict_<w>bit and its _null form, w of 2 to 7, 9 to 15, 17 to 20, 24",
     "rows * w reaches 2^32: the tail takes the bit position as a 32-bit number", "wrong answer",
     "chunks hold at most 65536 rows", "check_chunk_rows",
     "refused_inputs_test:RefusedInputs.AreWidthsAndChunksWithoutKernels", nullptr},
    {"colx_le_dict_1bit, colx_ge_dict_1bit, colx_ge_le_dict_1bit",
     "the constants select every row and there are 0 rows", "writes past", "refuses the scan",
     "PreparedScan::run", "refused_inputs_test:RefusedInputs.AreOneBitScansThatTakeEveryRowOfNone",
     every_row_of_none},
    {"colx_<op>_fixed_32bit, colx_<op>_fixed_64bit and their _tz forms",
     "the row width is not 24 or 32 at 32 bits, not 40, 48, 56 or 64 at 64 bits (lanes are not "
     "rows)",
     "wrong answer", "picks the kernel by the width, and refuses others", "ColumnFormat::check",
     "refused_inputs_test:RefusedInputs.AreWidthsAndChunksWithoutKernels", nullptr},
    {"colx_<op>_dynp_64bit and its _tz form",
     "a row of the tail or of a walked selection has a code of 8 or more (more than a lane is "
     "read)",
     "reads past", "writes codes of 0 to 7 only", "",
     "encode_rows_test:StoreDynp.WritesNoCodeAbove7At64Bits", nullptr},
    {"colx_dispatch_decode_unpack", "the column's decode_unpack slot is empty",
     "calls through null", "refuses columns whose kernel the library lacks", "GroupKeys::bind",
     "refused_inputs_test:RefusedInputs.AreGroupKeysOfNoColumnsOfWideCodesAndWithoutAKernel",
     nullptr},
    {"colx_decode_unpack_dict_<w>bit", "colx_kctx_position is above the source's row count",
     "reads and writes past", "goes on at the row behind the last one looked at", "",
     "value_reader_test:Readers.DecodeAColumnToItsValuesInBatchesOfAnySize", nullptr},
    {"colx_decode_unpack_dict_<w>bit and colx_decode_dict_<w>bit on a row list",
     "a row is not below the row count", "reads past", "refuses the list", "ChunkReader::rows",
     "refused_inputs_test:RefusedInputs."
     "AreListedRowsThatTheChunkLacksOrThatFallAndEmptyListsAreAnswered",
     nullptr},
    {"colx_decode_unpack_dict_<w>bit on a row list, colx_decode_dict_<w>bit",
     "the list is empty and the entry at index 0xFFFFFFFF cannot be read", "reads past",
     "answers an empty list itself", "ChunkReader::rows",
     "refused_inputs_test:RefusedInputs."
     "AreListedRowsThatTheChunkLacksOrThatFallAndEmptyListsAreAnswered",
     nullptr},
    {"colx_decode_unpack_dict_<w>bit on a row list of a run-length column", "the rows do not rise",
     "wrong answer", "refuses the list", "ChunkReader::rows",
     "refused_inputs_test:RefusedInputs."
     "AreListedRowsThatTheChunkLacksOrThatFallAndEmptyListsAreAnswered",
     nullptr},
    {"colx_decode_unpack_dict_<w>bit on a range of a run-length column",
     "a run between the first and the last row of the range has no rows (in-place expansion)",
     "wrong answer", "writes runs of at least one row", "write_runs",
     "encode_runs_test:WriteRuns.RefusesWhatALengthCannotSay", nullptr},
    {"colx_decode_unpack_dict_<w>bit on a run-length column",
     "colx_enc_ctx_rle_width is neither 8 nor 16, or the lengths do not cover the rows",
     "reads past", "writes lengths of 8 or 16 bits that do", "write_runs",
     "refused_inputs_test:RefusedInputs.AreWidthsAndChunksWithoutKernels", nullptr},
    {"colx_burst_rle_<w>bit and its cla form", "the runs have more rows than the result",
     "writes past", "writes chunks whose runs have the chunk's rows", "",
     "encode_runs_test:StoreCodes.WritesRunsChunkByChunk", nullptr},
    {"colx_decode_dict_<w>bit, colx_decode_symbol_dict_<w>bit, colx_set_dict_<w>bit",
     "a code is not in the dictionary or the code table", "reads past", "writes codes that are", "",
     "value_dictionary_test:Dictionary.EncodesRowsAndNamesTheOneThatIsUnknown", nullptr},
    {"colx_decode_symbol_dict_<w>bit", "the one length is 0 and colx_cv_row_flags is null",
     "writes through null", "always passes indicators", "",
     "value_reader_test:Readers.DecodeAColumnOfNullsOnly", nullptr},
    {"colx_wpak_decode_dydi",
     "the stream is cut short, or its header, codes or lengths do not agree",
     "reads and writes past", "refuses the stream", "wpak_validate",
     "refused_inputs_test:RefusedInputs.AreDamagedStreams", nullptr},
    {"colx_prefix_decode_dydi", "the groups are cut short, or a prefix is longer than its values",
     "reads and writes past", "refuses the groups", "prefix_validate",
     "refused_inputs_test:RefusedInputs.AreDamagedStreams", nullptr},
    {"colx_partition_<records>_<key>_<carried>",
     "a hash leads to a partition that has no cursor, or the array of ends is null", "writes past",
     "makes a partition for every number that the fields of the hash can give", "",
     "kernel_calls_test:KernelCalls.PartitionIntoACursorAndAnEndForEveryNumberOfTheirField",
     nullptr},
    {"colx_partition_<records>_<key>_<carried>", "a cursor lies behind its partition's end",
     "writes past", "keeps cursors within their buffers", "",
     "kernel_calls_test:KernelCalls.PartitionIntoACursorAndAnEndForEveryNumberOfTheirField",
     nullptr},
    {"colx_partition_<records>_<key>_<carried>", "colx_part_hi or colx_part_shift is above 63",
     "wrong partition", "refuses the field", "PartitionSet::create",
     "refused_inputs_test:RefusedInputs.AreFieldsOfHashesThatThereAreNot", nullptr},
    {"colx_partition_lv_hash_values", "a record is shorter than the hash that it begins with",
     "reads past", "hands in only what the lv kernels wrote", "",
     "kernel_calls_test:KernelCalls.PartitionIntoACursorAndAnEndForEveryNumberOfTheirField",
     nullptr},
    {"colx_gather_<store>_<result>_<index>",
     "an index leads past the pages of the store or the entries of a page", "reads past",
     "checks the indices", "GatheredRows::open",
     "refused_inputs_test:RefusedInputs.AreEntriesAndPagesThatAStoreLacks", nullptr},
    {"colx_gather_<store>_<result>_<index>",
     "colx_store_page_shift is above 64, or colx_store_page_hi above 63", "reads past",
     "writes pages of 2 to 2^24 entries, and refuses others", "RowStore::build",
     "refused_inputs_test:RefusedInputs.AreEntriesAndPagesThatAStoreLacks", nullptr},
    {"colx_gather_<store>_<result>_fixed", "the index has more than 8 bytes", "wrong answer",
     "has lists of numbers of 4 and 8 bytes and of matches only", "",
     "kernel_calls_test:KernelCalls.GatherByFieldsThatTheStoreHas", nullptr},
    {"colx_gather_<store>_dlp_<index>, colx_gather_dlp_<result>_<index>, colx_gather_<result>_dlp",
     "colx_enc_ctx_dlp_bits is above 63", "reads past", "writes places of up to 48 bits", "",
     "kernel_calls_test:KernelCalls.GatherByFieldsThatTheStoreHas", nullptr},
    {"colx_gather_<store>_<result>_<index>, colx_gather_<result>_<index>", "kctx is null",
     "reads through null", "always passes a kctx", "",
     "kernel_calls_test:KernelCalls.GatherByFieldsThatTheStoreHas", nullptr},
    {"colx_transpose_reference_lv, colx_transpose_reference_lv_sep, colx_transpose_reference_lp",
     "the block is negative (the matrix at `base` serves fixed and lp_sep alone)", "writes past",
     "always passes a block", "",
     "kernel_calls_test:KernelCalls.TransposeIntoBlocksWhoseOffsetsAreOneArray", nullptr},
    {"colx_transpose_convert_<row|col>_cla",
     "`from` is above 0 and the entry before the offset position cannot be read", "reads past",
     "keeps the offsets in one array", "",
     "kernel_calls_test:KernelCalls.TransposeIntoBlocksWhoseOffsetsAreOneArray", nullptr},
    {"colx_<op>_<type>_<l>_<r> and its _sum form",
     "an operand that is not the constant holds fewer rows than the larger of the two counts",
     "reads past", "makes no such calls; the demo passes arrays of one batch", "",
     "joins_test:LineNumbers.AreThoseOfThePlainTables", nullptr},
    {"colx_gby_sum_dydi", "a key is not below the number of accumulators", "writes past",
     "refuses the keys", "GroupSums::add",
     "refused_inputs_test:RefusedInputs.AreGroupsThatThereAreNot", nullptr},
    {"colx_hash_dydi", "there are fewer seeds than rows, and not one seed", "reads past",
     "passes one seed", "", "kernel_calls_test:KernelCalls.HashWithOneSeed", nullptr},
    {"colx_hash_dydi on a dict column",
     "the width is not 1 to 25, or a code is not in the dictionary (codes above 25 bits lose bits)",
     "wrong answer, reads past", "refuses columns of codes", "KeyRows::chunk",
     "refused_inputs_test:RefusedInputs.AreCodesAsJoinKeys", nullptr},
    {"colx_ht_build_dydi, colx_ht_probe_dydi",
     "a hash leads past the bucket arrays or the array of a partition", "reads and writes past",
     "sizes the arrays by the hash bits that it takes", "",
     "kernel_calls_test:KernelCalls.BuildAndProbeTablesThatTheirHashBitsFit", nullptr},
    {"colx_ht_build_dydi, colx_ht_probe_dydi",
     "colx_ht_part_shift or colx_ht_part_low_bits is above 63", "wrong partition",
     "refuses more hash bits than there are", "JoinTable::create",
     "refused_inputs_test:RefusedInputs.AreFieldsOfHashesThatThereAreNot", nullptr},
    {"colx_ht_build_dydi", "a bucket's header was not 0 before its first row",
     "reads and writes past", "clears the bucket arrays", "",
     "kernel_calls_test:KernelCalls.BuildAndProbeTablesThatTheirHashBitsFit", nullptr},
    {"colx_ht_build_dydi",
     "the room between a cursor and its end is not whole buckets (the last one ends behind it)",
     "writes past", "grants whole buckets", "",
     "kernel_calls_test:KernelCalls.BuildAndProbeTablesThatTheirHashBitsFit", nullptr},
    {"colx_ht_build_dydi, colx_ht_probe_dydi on an lv or lv_sep column",
     "colx_kctx_key_offset is not where the row at colx_kctx_position begins", "reads past",
     "makes no stream columns", "",
     "kernel_calls_test:KernelCalls.BuildAndProbeTablesThatTheirHashBitsFit", nullptr},
    {"colx_ht_build_dydi", "two calls at once touch one partition", "wrong answer, lost rows",
     "has a call for each partition, safe beside those for others", "",
     "join_table_test:JoinTables.TakePartitionsFromThreadsAtOnce", nullptr},
    {"colx_bloom_dydi", "the filter is partitioned and colx_enc_ctx_bloom_part_shift is above 31",
     "reads past", "refuses more than 2^16 partitions, and writes shifts below 32",
     "BloomFilter::create",
     "kernel_calls_test:KernelCalls.TestFiltersThatTheirMasksFitAndClearResults", nullptr},
    {"colx_bloom_dydi", "a masked hash leads past the filter's bits or partitions", "reads past",
     "sizes the filter by its masks", "",
     "kernel_calls_test:KernelCalls.TestFiltersThatTheirMasksFitAndClearResults", nullptr},
    {"colx_bloom_dydi", "colx_kctx_start_row is above the row count, or kctx is null",
     "reads and writes past", "always passes a kctx, and refuses the row", "BloomFilter::test",
     "refused_inputs_test:RefusedInputs.AreStartRowsBehindTheLast", nullptr},
    {"colx_bloom_dydi with a selection",
     "the word of colx_kctx_start_row cannot be read, as of a start at the row count", "reads past",
     "keeps a spare word behind bit vectors", "",
     "row_bits_test:RowBits.StartClearAlignedWithASpareWord", nullptr},
    {"colx_bloom_dydi", "the result vector is not clear", "wrong answer",
     "clears it before the call", "",
     "kernel_calls_test:KernelCalls.TestFiltersThatTheirMasksFitAndClearResults", nullptr},
    {"colx_xlate_<form>_<element> and its twin", "kctx is null, or its first row is above the rows",
     "reads and writes past", "always passes a kctx and starts at row 0", "",
     "kernel_calls_test:KernelCalls.TranslateFromRow0WithAKctx", nullptr},
    {"colx_xlate_<form>_<element> and its twin",
     "a key has no element: it is beyond the flat table, the pages or the page that it leads to",
     "reads past", "reads the keys once and refuses those outside the table", "Translation::bind",
     "refused_inputs_test:RefusedInputs.AreKeysAndCodesThatATranslationTableLacks", nullptr},
    {"colx_xlate_ind_<element>_selective",
     "colx_enc_ctx_xlate_shift is 32 or more (of a walked row its remainder may count or not)",
     "wrong answer", "builds pages of up to 2^31 elements, and refuses others",
     "TranslationTable::build",
     "refused_inputs_test:RefusedInputs.AreKeysAndCodesThatATranslationTableLacks", nullptr},
    {"colx_xlate_groupkey_<element>_c2d", "a code has no element in the table", "reads past",
     "refuses codes that the table does not have", "add_group_share",
     "refused_inputs_test:RefusedInputs.AreKeysAndCodesThatATranslationTableLacks", nullptr},
    {"colx_groupkey_dydi", "there are no columns", "reads past", "refuses to bind none",
     "GroupKeys::bind",
     "refused_inputs_test:RefusedInputs.AreGroupKeysOfNoColumnsOfWideCodesAndWithoutAKernel",
     nullptr},
    {"colx_groupkey_dydi", "the scratch has no room while rows and room are left", "never returns",
     "gives the scratch room for 2048 rows", "",
     "kernel_calls_test:KernelCalls.ComposeGroupKeysThroughRoomyScratchByNoLists", nullptr},
    {"colx_groupkey_dydi", "a row list has more rows than the room or the scratch", "writes past",
     "passes selections, no lists", "",
     "kernel_calls_test:KernelCalls.ComposeGroupKeysThroughRoomyScratchByNoLists", nullptr},
    {"colx_groupkey_dydi",
     "colx_enc_ctx_width is 64 or more and column 0 has more than one symbol in the shifted form",
     "wrong answer", "binds columns of up to 32 bits a code, and refuses others", "GroupKeys::bind",
     "refused_inputs_test:RefusedInputs.AreGroupKeysOfNoColumnsOfWideCodesAndWithoutAKernel",
     nullptr},
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
