// One call of colx_groupkey_dydi at guard pages: columns, row choice, output, scratch and the
// records themselves end where their last byte ends.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/group_key_oracle.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/stored_rows.h"

namespace colx::test {

using Numbers = std::vector<uint32_t>;

struct GroupedColumn {
  unsigned code_bits = 8;
  Numbers codes;  // one a row; one a run of a run-length column
  uint32_t rows = 0;
  uint32_t symbols = 0;      // colx_enc_ctx_num_symbols
  uint32_t shift = 0;        // colx_enc_ctx_width
  uint32_t other_flags = 0;  // of colx_enc_ctx_flags
  bool dict = true;
  std::optional<Numbers> lengths;  // of a run-length column
  unsigned length_bits = 8;
  Store store = Store::plain;  // one column of a batch may be compressed
};

// A column of these codes, each below `symbols`, in as many bits as the largest of them may need;
// the same bits are its shift.
GroupedColumn key_column(uint32_t symbols, Numbers codes);

// Random codes below `symbols`; the same in runs of 1 to `longest` rows.
GroupedColumn random_key_column(uint32_t symbols, uint32_t rows, Random& random);
GroupedColumn random_run_column(uint32_t symbols, uint32_t rows, uint32_t longest, Random& random);

struct GroupKeyBatch {
  std::vector<GroupedColumn> columns;
  uint32_t room = 0;
  uint32_t scratch_rows = 0;
  uint32_t position = 0;
  uint32_t state1 = 0;
  uint32_t state2 = 0;
  uint32_t kctx_flags = 0;
  std::optional<Words> selection;
  std::optional<Numbers> list;
  Edge edge = Edge::end;
  Place place = Place::end;
};

// Room and scratch for all rows of the first column.
GroupKeyBatch group_key_batch(std::vector<GroupedColumn> columns, uint32_t kctx_flags = 0);

std::string describe(const GroupKeyBatch& batch);

struct GroupKeyRun {
  uint32_t status;
  uint32_t num_set;
  uint32_t key_space;
  Numbers keys;  // as many as num_set says
};

class GroupKeyStage {
 public:
  void set(const GroupKeyBatch& batch);
  GroupKeyRun call(colx_groupkey_call* entry);
  oracle::GroupKeyOutcome expected() const;
  // The first thing that the call left behind otherwise than the oracle says; empty if none.
  std::string difference(const GroupKeyRun& run, const oracle::GroupKeyOutcome& expected) const;

  colx_cv res;
  colx_cv scratch;
  colx_kctx kctx;
  RecordingHost& host = scan_stage().host;  // the newest host is in charge: all stages share one

 private:
  struct Column {
    StoredRows rows;
    GuardedPages lengths;
    colx_enc_ctx encoding;
    colx_enc_ctx encoding_before;
  };

  void place_column(size_t column);
  void place_row_choice();
  std::string keys_difference(const oracle::GroupKeyOutcome& expected) const;
  std::string host_difference(bool refused, bool decoded) const;
  std::string damage() const;

  GroupKeyBatch batch_;
  std::vector<std::vector<uint8_t>> streams_;
  std::deque<Column> columns_;  // made once; as many as any batch had
  std::vector<colx_cv> vectors_;
  colx_cv* vectors_at_ = nullptr;
  uint32_t* key_space_at_ = nullptr;
  uint8_t* keys_at_ = nullptr;
  colx_cv res_before_, scratch_before_;
  colx_kctx kctx_before_;
  GuardedPages vectors_pages_, selection_pages_, list_pages_, nowhere_;
  GuardedOutput keys_, scratch_codes_, key_space_;
};

GroupKeyStage& group_key_stage();

// Empty if the call does what the oracle says and nothing else, else one line.
std::string group_key_difference(const GroupKeyBatch& batch,
                                 colx_groupkey_call* entry = colx_groupkey_dydi);

// For the examples: what the call left behind.
GroupKeyRun run_group_keys(const GroupKeyBatch& batch);

}  // namespace colx::test
