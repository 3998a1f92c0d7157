// The tests rest on guarded memory and recorded services: these tests hold that both notice.
#include "tests/support/guarded_pages.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/support/crash_note.h"
#include "tests/support/recording_host.h"

namespace colx::test {
namespace {

TEST(GuardedPages, EndsWhereReadingEndsTheProgram) {
  GuardedPages pages;
  const volatile uint8_t* const last = pages.at_end(5) + 4;
  EXPECT_EQ(last[0], 0);
  EXPECT_DEATH(std::printf("%d", last[1]), "");
}

TEST(GuardedPages, BeginsWhereReadingEndsTheProgram) {
  GuardedPages pages;
  const volatile uint8_t* const first = pages.at_begin(5);
  EXPECT_EQ(first[0], 0);
  EXPECT_DEATH(std::printf("%d", first[-1]), "");
}

TEST(GuardedPages, GrowsWithTheRequest) {
  GuardedPages pages;
  uint8_t* const small = pages.at_end(1);
  small[0] = 1;
  uint8_t* const large = pages.at_end(1000000);
  std::memset(large, 7, 1000000);
  EXPECT_EQ(large[999999], 7);
}

TEST(GuardedPages, PlacesContentAndNoiseBehindIt) {
  GuardedPages pages;
  const std::vector<uint8_t> content = {1, 2, 3};
  for (Edge edge : {Edge::end, Edge::begin}) {
    const uint8_t* const at = pages.place(content, 2, edge);
    EXPECT_EQ(std::vector<uint8_t>(at, at + 3), content);
    EXPECT_EQ(at[3], GuardedOutput::dirty_byte(3));
    EXPECT_EQ(at[4], GuardedOutput::dirty_byte(4));
  }
}

TEST(GuardedPages, UnreadableIsUnreadable) {
  GuardedPages pages;
  const volatile uint8_t* const at = pages.unreadable();
  EXPECT_DEATH(std::printf("%d", at[0]), "");
}

TEST(GuardedOutput, SeesAByteWrittenOnEitherSide) {
  GuardedOutput output;
  for (Place place : {Place::end, Place::begin, Place::middle}) {
    uint8_t* at = output.bytes(11, place, 3);
    std::memset(at, 0, 11);
    EXPECT_EQ(output.damage(), "");
    if (place != Place::end) {
      at[11] ^= 1;
      EXPECT_EQ(output.damage(), "changed: byte 0 behind the output");
    }
    at = output.bytes(11, place, 3);
    if (place != Place::begin) {
      at[-1] ^= 1;
      EXPECT_EQ(output.damage(), "changed: byte 1 before the output");
    }
  }
}

TEST(GuardedOutput, WordsAreDirtyAndEightByteAligned) {
  GuardedOutput output;
  for (Place place : {Place::end, Place::begin, Place::middle}) {
    const uint64_t* const words = output.words(3, place);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(words) % 8, 0u);
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(words[i], GuardedOutput::dirty_word(i));
  }
  EXPECT_EQ(reinterpret_cast<uintptr_t>(output.words(3, Place::middle)) % 16, 8u);
}

TEST(CrashNote, IsPrintedWhenAGuardIsHit) {
  GuardedPages pages;
  const volatile uint8_t* const end = pages.at_end(0);
  EXPECT_DEATH(
      {
        set_crash_note("kernel %d", 12);
        std::printf("%d", end[0]);
      },
      "memory fault in: kernel 12");
}

TEST(RecordingHost, RecordsErrorsAndReturns) {
  RecordingHost host;
  host_raise_internal(host.handle, host.handle, "text", 0);
  ASSERT_EQ(host.raised.size(), 1u);
  EXPECT_EQ(host.raised[0].text, "text");
  EXPECT_EQ(host.order, std::vector<std::string>{"raise"});
}

TEST(RecordingHost, ScratchIsReleasedOnceWithItsCookie) {
  RecordingHost host;
  uint64_t cookie = 0;
  void* const buffer = host.env.colx_env_alloc(host.handle, 100, "label", 8, 0, &cookie);
  host.env.colx_env_free(host.handle, buffer, cookie);
  EXPECT_TRUE(host.misuse.empty());
  EXPECT_TRUE(host.scratch_allocations[0].released);
  host.env.colx_env_free(host.handle, buffer, cookie);
  EXPECT_EQ(host.misuse.size(), 1u);
}

TEST(RecordingHost, DecodesToTheGivenBytesAndASlackBeforeTheGuard) {
  RecordingHost host;
  const std::vector<uint8_t> plain = {9, 8, 7};
  host.expands_to(plain, 2);
  auto* const copy = static_cast<uint8_t*>(
      host.env.colx_env_alloc_cached(host.handle, host.heap, 3, "label", 8, 16, 5));
  uint32_t out_len = 0;
  colx_decode_env env = {};
  EXPECT_EQ(host.env.colx_env_decode(&env, nullptr, copy, &out_len, 3), 0u);
  EXPECT_EQ(std::vector<uint8_t>(copy, copy + 3), plain);
  EXPECT_EQ(out_len, 3u);
  const volatile uint8_t* const behind = copy + 5;
  EXPECT_DEATH(std::printf("%d", behind[0]), "");
}

}  // namespace
}  // namespace colx::test
