// The tests of the stream decoders rest on their stages: decoders with one mistake each, around an
// honest one, hold that the stages notice.
#include <gtest/gtest.h>

#include "tests/decode/prefix_checks.h"
#include "tests/decode/wpak_checks.h"

namespace colx::test {
namespace {

// ------------------------------------------------------------------------------ wpak

Bytes nine_bytes() {
  oracle::WpakParts parts;
  parts.symbols = {{'a', 'b', 'c'}, {'d'}};
  parts.codes = {0, 0, 1, 1, 1};
  return oracle::wpak_stream(parts);
}

struct WpakCall {
  colx_decode_env* env;
  const void* stream;
  void* out;
  uint32_t* out_len;
  uint32_t capacity;
  uint32_t honest() const { return colx_wpak_decode_dydi(env, stream, out, out_len, capacity); }
};

// What a stage says of a decoder that does this.
template <uint32_t (*Does)(const WpakCall&)>
std::string noticed(uint32_t capacity = 9, Place place = Place::middle) {
  return wpak_difference(
      nine_bytes(), capacity, place,
      [](colx_decode_env* env, const void* stream, void* out, uint32_t* out_len, uint32_t room) {
        return Does({env, stream, out, out_len, room});
      });
}

void alloc_once_more(const WpakCall& c, uint64_t bytes, bool give_back) {
  uint64_t cookie = 0;
  void* const block = c.env->colx_denv_alloc(c.env->colx_denv_host, bytes,
                                             "wpak_decode_x86 length_array", 8, 0, &cookie);
  if (give_back) c.env->colx_denv_free(c.env->colx_denv_host, block, cookie + 1);
}

uint32_t is_honest(const WpakCall& c) {
  return c.honest();
}
uint32_t says_another_status(const WpakCall& c) {
  return c.honest() ^ 10;
}
uint32_t says_another_length(const WpakCall& c) {
  const uint32_t status = c.honest();
  ++*c.out_len;
  return status;
}
uint32_t writes_another_last_byte(const WpakCall& c) {
  const uint32_t status = c.honest();
  static_cast<uint8_t*>(c.out)[8] ^= 1;
  return status;
}
uint32_t writes_behind_the_output(const WpakCall& c) {
  const uint32_t status = c.honest();
  static_cast<uint8_t*>(c.out)[9] ^= 1;
  return status;
}
uint32_t writes_when_it_refuses(const WpakCall& c) {
  static_cast<uint8_t*>(c.out)[3] ^= 1;
  return c.honest();
}
uint32_t clears_the_length_first(const WpakCall& c) {
  *c.out_len = 0;
  return c.honest();
}
uint32_t keeps_a_block(const WpakCall& c) {
  alloc_once_more(c, 3, /*give_back=*/false);
  return c.honest();
}
uint32_t hands_back_another_cookie(const WpakCall& c) {
  alloc_once_more(c, 3, /*give_back=*/true);
  return c.honest();
}
uint32_t changes_the_environment(const WpakCall& c) {
  const uint32_t status = c.honest();
  c.env->colx_denv_heap = nullptr;
  return status;
}
uint32_t changes_the_stream(const WpakCall& c) {
  const uint32_t status = c.honest();
  static_cast<uint8_t*>(const_cast<void*>(c.stream))[6] ^= 1;
  return status;
}

TEST(WpakStage, NoticesEachMistake) {
  EXPECT_EQ(noticed<is_honest>(), "");
  EXPECT_EQ(noticed<says_another_status>(), "status 10");
  EXPECT_EQ(noticed<says_another_length>(), "out_len 10");
  EXPECT_EQ(noticed<writes_another_last_byte>(), "byte 8 of 9");
  EXPECT_EQ(noticed<writes_behind_the_output>(), "changed: byte 0 behind the output");
  EXPECT_EQ(noticed<keeps_a_block>().substr(0, 8), "scratch:");
  EXPECT_NE(noticed<hands_back_another_cookie>().find("free 0 with another cookie"),
            std::string::npos);
  EXPECT_EQ(noticed<changes_the_environment>(), "changed: the environment");
  EXPECT_EQ(noticed<changes_the_stream>(), "changed: the stream");
}

TEST(WpakStage, NoticesWhatARefusalLeavesBehind) {
  EXPECT_EQ(noticed<is_honest>(8), "");
  EXPECT_EQ(noticed<writes_when_it_refuses>(8), "byte 3 of 64");
  EXPECT_EQ(noticed<clears_the_length_first>(8), "out_len 0");
  EXPECT_EQ(noticed<keeps_a_block>(8).substr(0, 8), "scratch:");
}

TEST(WpakStageDeathTest, EndsTheProgramAtOneByteTooMany) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(noticed<writes_behind_the_output>(9, Place::end), "memory fault in: wpak stream");
}

// ------------------------------------------------------------------------------ prefix groups

constexpr uint32_t values = 19;
constexpr size_t value_bytes = 3;

uint8_t* output_of(colx_cv* res) {
  return static_cast<uint8_t*>(res->colx_cv_data);
}

template <void (*Spoils)(colx_cv* res, colx_cv* src, colx_kctx* kctx)>
std::string noticed_in(const PrefixCase& c, Place place = Place::middle) {
  return prefix_difference(c, Descriptors::filled, place,
                           [](colx_cv* res, colx_cv* src, colx_kctx* kctx) {
                             const uint32_t status = colx_prefix_decode_dydi(res, src, kctx);
                             Spoils(res, src, kctx);
                             return status;
                           });
}

void spoils_nothing(colx_cv*, colx_cv*, colx_kctx*) {}
void spoils_the_last_byte(colx_cv* res, colx_cv*, colx_kctx*) {
  output_of(res)[values * value_bytes - 1] ^= 1;
}
void spoils_the_byte_behind(colx_cv* res, colx_cv*, colx_kctx*) {
  output_of(res)[values * value_bytes] ^= 1;
}
// Groups before the last end at byte 48; a step of the last of them reaches byte 63 at most.
void spoils_byte_63(colx_cv* res, colx_cv*, colx_kctx*) {
  output_of(res)[63] ^= 1;
}
void spoils_the_granted_bytes(colx_cv* res, colx_cv*, colx_kctx*) {
  for (size_t i = values * value_bytes; i < 63; ++i) output_of(res)[i] ^= 1;
}
void spoils_behind_the_room(colx_cv* res, colx_cv*, colx_kctx*) {
  output_of(res)[values * value_bytes + 15] ^= 1;
}
void spoils_a_descriptors_tail(colx_cv*, colx_cv*, colx_kctx* kctx) {
  static_cast<uint8_t*>(kctx->colx_kctx_prefix_ptrs)[16 * values - 1] ^= 1;
}
void spoils_behind_the_descriptors(colx_cv*, colx_cv*, colx_kctx* kctx) {
  static_cast<uint8_t*>(kctx->colx_kctx_prefix_ptrs)[16 * values] ^= 1;
}
void spoils_a_record(colx_cv* res, colx_cv*, colx_kctx*) {
  res->colx_cv_num_set = 19;
}

TEST(PrefixStage, NoticesEachMistake) {
  const PrefixCase c = prefix_case(value_bytes, 1, 2, 3, 1);
  EXPECT_EQ(noticed_in<spoils_nothing>(c), "");
  EXPECT_EQ(noticed_in<spoils_the_granted_bytes>(c), "");
  EXPECT_EQ(noticed_in<spoils_the_last_byte>(c), "byte 56");
  EXPECT_EQ(noticed_in<spoils_byte_63>(c), "byte 63 behind the values");
  EXPECT_EQ(noticed_in<spoils_behind_the_room>(c), "changed: byte 0 behind the output");
  EXPECT_EQ(noticed_in<spoils_a_descriptors_tail>(c), "descriptor 18, byte 15");
  EXPECT_EQ(noticed_in<spoils_behind_the_descriptors>(c), "changed: byte 0 behind the output");
  EXPECT_EQ(noticed_in<spoils_a_record>(c), "changed: a record");
}

TEST(PrefixStage, NoticesAWriteOfARefusedCall) {
  PrefixCase c = prefix_case(value_bytes, 1, 2, 3, 1);
  c.stride = 8;
  EXPECT_EQ(noticed_in<spoils_nothing>(c), "");
  EXPECT_EQ(noticed_in<spoils_the_byte_behind>(c), "byte 57 behind the values");
  EXPECT_EQ(noticed_in<spoils_a_descriptors_tail>(c), "descriptor 18, byte 15");
}

TEST(PrefixStageDeathTest, EndsTheProgramAtOneByteTooMany) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const PrefixCase c = prefix_case(value_bytes, 1, 2, 3, 1);
  EXPECT_DEATH(noticed_in<spoils_behind_the_room>(c, Place::end), "memory fault in: prefix stream");
}

}  // namespace
}  // namespace colx::test
