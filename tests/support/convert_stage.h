// One conversion of a matrix of references at guard pages.
//
// The matrix has the rows of the batch and ends where its last record ends; the values end where
// the last one ends; the data room ends where the partition's end is, and the offsets or records
// where writing has to end. The arrays of pages and positions hold the entry in question between
// two others that nobody may touch. What the form has no use for is unreadable.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/oracle/transpose_oracle.h"
#include "tests/support/guarded_arrays.h"
#include "tests/support/patched_output.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct ConvertKernel {
  const char* name;
  colx_transpose_convert_call* kernel;
};
ConvertKernel convert_kernel(oracle::ConvertForm form);

struct ConvertBatch {
  oracle::ConvertForm form = oracle::ConvertForm::row_cla;
  uint16_t columns = 1;
  std::vector<Bytes> values;  // of whole rows, row by row
  uint32_t first_row = 0;     // number of the first of them
  uint32_t from = 0;
  uint32_t to = 0;
  int64_t room = 0;            // bytes from the cursor to the end; below 0 the end lies before it
  size_t room_behind = 0;      // bytes that may be written behind the end
  uint32_t offset_before = 0;  // cla forms from another row than 0: the offset before the next
  int32_t part = 0;
  int32_t block = 0;
  uint32_t out_type = 0;  // bits beside those that the form needs
  uint32_t in_type = 0;
  size_t misaligned = 0;  // bytes that matrix and values are moved away from their end
  Edge edge = Edge::end;
  Place place = Place::end;

  uint32_t rows() const { return columns == 0 ? 0 : uint32_t(values.size() / columns); }
};

struct ConvertRun {
  uint32_t status;
  uint32_t position;
  int64_t data_bytes;   // that the cursor was moved by
  int64_t entry_bytes;  // that the position of offsets or records was moved by
};

class ConvertStage {
 public:
  // Lays the batch out; records may then be changed by hand before the call.
  void set(const ConvertBatch& batch);
  oracle::ConvertOutcome expected() const;
  ConvertRun call(colx_transpose_convert_call* kernel);
  // What the last call did that the oracle does not say.
  std::string difference(const ConvertRun& run, const oracle::ConvertOutcome& expected) const;

  // What stands from the first offset or record on, also one that was there before the call.
  const uint8_t* entries() const { return entries_.begin() + before_bytes_; }
  const uint8_t* data() const { return data_.begin(); }

  colx_row_store in;
  colx_row_store out;
  colx_kctx kctx;

 private:
  static constexpr size_t around = 2;  // entries on both sides of the one that is used

  void** array_around(void* entry, int32_t index);
  void place_matrix();
  void place_outputs();
  std::string changed_records() const;

  ConvertBatch batch_;
  GuardedArrays arrays_;
  PatchedOutput data_, entries_;
  size_t before_bytes_ = 0;   // of offsets in front of the first that the call writes
  std::vector<void**> used_;  // the arrays, each at its first entry
  std::vector<std::vector<void*>> used_before_;
  colx_row_store in_before_, out_before_;
  colx_kctx kctx_before_;
};

ConvertStage& convert_stage();

// `rows` rows of so many columns, lengths of 0 to 30, with room for all of them.
ConvertBatch random_convert_batch(oracle::ConvertForm form, uint32_t rows, uint16_t columns,
                                  Random& random);

// Bytes of data that all rows take.
int64_t convert_room(const ConvertBatch& batch);

std::string describe(const ConvertBatch& batch);

// Empty if a call does what the oracle says and nothing else, else one line. The kernel is called
// by its name and through the entry of the exported record.
std::string convert_difference(const ConvertBatch& batch);

// For the examples: calls the entry, whose results then lie in the stage.
ConvertRun run_convert(const ConvertBatch& batch);

}  // namespace colx::test
