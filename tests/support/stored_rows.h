// The rows of a source column at guard pages: as they are, as an image that the first kernel
// expands, or expanded before; and what the first touch must have asked of the host.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "kernels/frame/colx_x86.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/recording_host.h"
#include "tests/support/scan_stage.h"

namespace colx::test {

// Empty if the one allocation and the one decoding that `host` has recorded are those that `kernel`
// owes the column `src`, whose image expands to `image_bytes`; the report of a failure is the first
// of all reports.
std::string first_touch_difference(const RecordingHost& host, const std::string& kernel,
                                   const colx_cv& src, size_t image_bytes, uint32_t decode_status);

class StoredRows {
 public:
  // Fills the fields of `src` that say where the rows are. Behind the stream, and behind its
  // decompressed copy, lie exactly `slack_bytes` readable bytes. Clears the host's records.
  void place(colx_cv& src, RecordingHost& host, std::span<const uint8_t> stream, size_t slack_bytes,
             Store store, Edge edge, uint32_t decode_status);

  // What a call of `kernel` did to the rows and asked of the host, if that is not what it should
  // be. `raises` are the texts reported behind the first touch.
  std::string difference(const colx_cv& src, const RecordingHost& host, const std::string& kernel,
                         bool reads_rows, std::span<const std::string> raises) const;

 private:
  Bytes stream_;
  Store store_ = Store::plain;
  uint32_t decode_status_ = 0;
  void* slot_ = nullptr;
  void* slot_before_ = nullptr;
  const uint8_t* placed_ = nullptr;
  GuardedPages pages_, nowhere_;
};

}  // namespace colx::test
