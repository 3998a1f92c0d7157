// gather from stores whose rows lie far apart, where kernels may look at the rows to come: every
// index, record, word and offset still ends at its page's end, and a stop leaves nothing behind.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "tests/oracle/native_numbers.h"
#include "tests/support/crash_note.h"
#include "tests/support/gather_stage.h"

namespace colx::test {
namespace {

using oracle::GatherIndex;
using oracle::GatherResult;
using oracle::GatherStore;

constexpr uint64_t far_bytes = 8 << 20;

TEST(GatherFar, EveryKernelAtEveryRowCount) {
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(1);
    for (const uint32_t rows : {16, 31, 63, 64, 65, 80, 95, 96, 97, 127, 128, 129, 160, 333}) {
      GatherBatch batch = far_gather_batch(kernel.form, rows, random);
      batch.edge = rows % 2 == 0 ? Edge::begin : Edge::end;
      ASSERT_EQ(gather_difference(batch), "");
    }
    if (kernel.form.index != GatherIndex::fixed_4 && kernel.form.store != GatherStore::none)
      continue;
    for (const uint32_t rows : {4095, 4096, 4097, 4160, 4161, 8300}) {
      ASSERT_EQ(gather_difference(far_gather_batch(kernel.form, rows, random)), "");
    }
  }
}

TEST(GatherFar, EveryKernelWithTooLittleRoomFromAnyRow) {
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(2);
    for (int i = 0; i < 30; ++i) {
      GatherBatch batch = far_gather_batch(kernel.form, 200, random);
      batch.capacity = random.below(batch.capacity + 1);
      batch.position = static_cast<uint32_t>(random.below(202));
      ASSERT_EQ(gather_difference(batch), "") << "batch " << i;
    }
  }
}

TEST(GatherFar, TheBatchesAreFarApart) {
  Random random(3);
  for (const GatherKernel& kernel : gather_kernels()) {
    if (kernel.form.store == GatherStore::none) continue;
    const GatherBatch batch = far_gather_batch(kernel.form, 64, random);
    gather_stage().set(batch);
    const colx_row_store& store = gather_stage().store;
    void** const pages = kernel.form.store == GatherStore::lp    ? store.colx_store_lp_pages
                         : kernel.form.store == GatherStore::dlp ? store.colx_store_dlp_pages
                                                                 : store.colx_store_cla_pages;
    for (size_t p = 1; p < batch.pages.size(); ++p) {
      const auto a = reinterpret_cast<uintptr_t>(pages[p - 1]);
      const auto b = reinterpret_cast<uintptr_t>(pages[p]);
      ASSERT_GT(std::max(a, b) - std::min(a, b), far_bytes) << kernel.name;
    }
  }
}

// One page whose entries lie far apart, most of it never touched. The last one ends where an
// unreadable page begins.
class SparsePage {
 public:
  static constexpr uint64_t stride_bytes = 9'600'000;  // a multiple of all entries' sizes

  SparsePage() {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    bytes_ = (40 * stride_bytes / page + 1) * page;
    void* const at =
        mmap(nullptr, bytes_ + page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (at == MAP_FAILED || mprotect(at, bytes_, PROT_READ | PROT_WRITE) != 0) std::abort();
    begin_ = static_cast<uint8_t*>(at);
  }
  ~SparsePage() { munmap(begin_, bytes_ + static_cast<size_t>(sysconf(_SC_PAGESIZE))); }
  SparsePage(const SparsePage&) = delete;
  SparsePage& operator=(const SparsePage&) = delete;

  // The page's begin if its last entry, number `last` of those that are used, has `entry_bytes`.
  uint8_t* first_entry(uint64_t last, uint64_t entry_bytes) const {
    return begin_ + bytes_ - entry_bytes - last * stride_bytes;
  }

 private:
  uint8_t* begin_;
  size_t bytes_;
};

struct EntryForm {
  uint64_t bytes;       // from one entry to the next
  uint64_t read_bytes;  // of an entry
};

EntryForm entry_form(GatherStore store) {
  if (store == GatherStore::lp) return {16, 16};
  if (store == GatherStore::dlp) return {8, 8};
  return {4, 8};  // an offset and the next
}

// Moves the only page's entries apart and lets the indices follow.
void move_entries_apart(const GatherBatch& batch, const SparsePage& sparse) {
  GatherStage& stage = gather_stage();
  const EntryForm form = entry_form(batch.form.store);
  void**& pages = batch.form.store == GatherStore::lp    ? stage.store.colx_store_lp_pages
                  : batch.form.store == GatherStore::dlp ? stage.store.colx_store_dlp_pages
                                                         : stage.store.colx_store_cla_pages;
  const auto* const entries = static_cast<const uint8_t*>(pages[0]);
  const uint64_t count = batch.pages[0].size();
  uint8_t* const first = sparse.first_entry(count - 1, form.read_bytes);
  for (uint64_t i = 0; i < count; ++i) {
    std::copy_n(entries + i * form.bytes, form.read_bytes, first + i * SparsePage::stride_bytes);
  }
  pages[0] = first;
  const bool records = batch.form.index == GatherIndex::ridvalue;
  const unsigned row_bytes = records ? 16 : oracle::index_bytes(batch.form.index, stage.src);
  uint8_t* index = static_cast<uint8_t*>(stage.src.colx_cv_data) + (records ? 8 : 0);
  for (uint32_t row = 0; row < stage.src.colx_cv_num_of_rows; ++row, index += row_bytes) {
    const unsigned bytes = records ? 8 : row_bytes;
    oracle::put_native(
        index, oracle::native_at(index, bytes) * (SparsePage::stride_bytes / form.bytes), bytes);
  }
}

TEST(GatherFar, EntriesOfOnePageFarApart) {
  const SparsePage sparse;
  for (const GatherKernel& kernel : gather_kernels()) {
    const GatherIndex index = kernel.form.index;
    if (kernel.form.store == GatherStore::none) continue;
    if (index != GatherIndex::fixed_8 && index != GatherIndex::fixed_4 &&
        index != GatherIndex::ridvalue) {
      continue;
    }
    Random random(4);
    for (const uint32_t rows : {63, 64, 65, 96, 97, 200, 4100}) {
      GatherBatch batch = random_gather_batch(kernel.form, rows, random);
      batch.pages.resize(1);
      batch.page_shift = 64;
      batch.pages[0].assign(20, {});
      for (Bytes& value : batch.pages[0]) value = random.bytes(random.below(41));
      for (uint64_t& row : batch.indices) row = random.below(20);
      for (const bool stops : {false, true}) {
        batch.capacity = UINT64_MAX;
        if (stops) batch.capacity = random.below(gather_room(batch) + 1);
        GatherStage& stage = gather_stage();
        stage.set(batch);
        move_entries_apart(batch, sparse);
        const oracle::GatherOutcome expected = stage.expected();
        set_crash_note("%s, %u rows far apart", kernel.name, rows);
        ASSERT_EQ(stage.difference(stage.call(kernel.kernel), expected), "") << kernel.name;
      }
    }
  }
}

}  // namespace
}  // namespace colx::test
