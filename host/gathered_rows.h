// gathered_rows.h: the values of a row store that a list of references asks for.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "host/join_probe.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/row_store.h"
#include "host/stream_buffer.h"

namespace colx::host {

// Entry numbers of a store in memory that the caller keeps, read exactly. Threads may share it.
class EntryList {
 public:
  // Numbers of 4 bytes.
  static EntryList of(std::span<const uint32_t> entries) {
    return {entries.data(), entries.size(), 4, 4};
  }
  // Numbers of 8 bytes.
  static EntryList of(std::span<const uint64_t> entries) {
    return {entries.data(), entries.size(), 8, 8};
  }
  // The build side of the matches of a probe.
  static EntryList build_side(std::span<const Match> matches) {
    return {matches.data(), matches.size(), 16, 0};
  }
  // The probe side of the matches.
  static EntryList probe_side(std::span<const Match> matches) {
    return {matches.data(), matches.size(), 16, 1};
  }

  // Entries of the list.
  size_t size() const { return size_; }
  // `index` below size().
  uint64_t entry(size_t index) const;
  // Makes `vector` the index vector of a gather, with `encoding` behind it; returns what
  // colx_kctx_flags must have.
  uint32_t describe(colx_cv& vector, colx_enc_ctx& encoding) const;

 private:
  EntryList(const void* data, size_t size, uint32_t stride, uint32_t kind)
      : data_(data), size_(size), stride_(stride), kind_(kind) {}
  const void* data_;
  size_t size_;
  uint32_t stride_;
  uint32_t kind_;  // bytes of a number; of records 0 for the build side, 1 for the probe side
};

// What a gather delivers of a value.
enum class GatherLayout : uint32_t {
  pointers = COLX_LP_SEP,  // into the store: no bytes move
  copies = COLX_LV_SEP,    // bytes one after the other
  fixed = COLX_FIXED       // bytes in rows of one width; every value of the store must have it
};

// The values of one call of next(): they hold until the next call, pointers as long as the store.
struct GatheredValues {
  std::span<const char* const> starts;  // where each value begins
  std::span<const uint16_t> lengths;    // bytes of each value

  // Values.
  size_t size() const { return starts.size(); }
  // Value `i`, below size().
  std::string_view operator[](size_t i) const { return {starts[i], lengths[i]}; }
};

// Gathers a list in batches. Store, list and library must outlive it; one thread at a time, any
// number of gathers of one store at once.
class GatheredRows {
 public:
  // `room`: bytes of a batch, 1 or more; a value larger than that makes it grow. Errors: an entry
  // that the store does not have (with its place in the list), room 0, fixed results of values of
  // different lengths, more than 2^32 - 1 entries, a library without the function.
  static Result<GatheredRows> open(const Library& library, const RowStore& store,
                                   const EntryList& entries,
                                   GatherLayout layout = GatherLayout::pointers,
                                   uint32_t room = 65536);

  // The next values, in the order of the list; none at the end. Error: a status that the kernel
  // should not return.
  Result<GatheredValues> next();

 private:
  GatheredRows(const RowStore& store, const EntryList& entries)
      : store_(&store), entries_(entries) {}
  GatheredValues values(uint32_t from, uint32_t to);

  colx_gather_call* gather_ = nullptr;
  const RowStore* store_;
  EntryList entries_;
  GatherLayout layout_ = GatherLayout::pointers;
  uint32_t position_ = 0;
  StreamBuffer bytes_;
  std::vector<uint16_t> lengths_;
  std::vector<const char*> starts_;
};

}  // namespace colx::host
