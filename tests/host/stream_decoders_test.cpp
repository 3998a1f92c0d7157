#include "host/stream_decoders.h"

#include <gtest/gtest.h>

#include "host/wpak_writer.h"
#include "tests/host/stream_decoding.h"

namespace colx::host {
namespace {

TEST(StreamDecoders, GiveBackWhatWasWritten) {
  HostServices services(colx_dispatch_table, colx_wpak_decode_dydi);
  const ByteString text = byte_string("the cat and the hat and the rat and the bat");
  const StreamBuffer stream = write_wpak(text).value();
  const auto expanded = expand_wpak(stream.bytes(), services.env());
  ASSERT_TRUE(expanded) << expanded.message();
  EXPECT_EQ(byte_string(*expanded), text);
  EXPECT_EQ(services.counters().scratch_blocks, 0u);

  const auto groups = write_prefix_groups(byte_string("101102103201"), 3).value();
  const auto values = expand_prefix_groups(groups, colx_prefix_decode_dydi);
  ASSERT_TRUE(values) << values.message();
  EXPECT_EQ(byte_string(*values), byte_string("101102103201"));
}

TEST(StreamDecoders, RefuseDamagedStreamsBeforeTheyDecode) {
  HostServices services(colx_dispatch_table, colx_wpak_decode_dydi);
  StreamBuffer stream = write_wpak(byte_string("abcabcabd")).value();
  stream.data()[15] += 1;
  EXPECT_NE(expand_wpak(stream.bytes(), services.env()).message().find("decoded length 10"),
            std::string::npos);
  EXPECT_EQ(services.counters().scratch_calls, 0u);

  auto groups = write_prefix_groups(byte_string("101102"), 3).value();
  groups.stream.data()[0] = 4;
  EXPECT_EQ(expand_prefix_groups(groups, colx_prefix_decode_dydi).message(),
            "prefix stream: group 0 at offset 0 has a prefix of 4 bytes, but values have 3");
}

TEST(StreamDecoders, HoldNoMoreThanTheCallerWants) {
  HostServices services(colx_dispatch_table, colx_wpak_decode_dydi);
  const StreamBuffer stream = write_wpak(ByteString(1000, 'x')).value();
  EXPECT_TRUE(expand_wpak(stream.bytes(), services.env(), 1000));
  EXPECT_EQ(expand_wpak(stream.bytes(), services.env(), 999).message(),
            "wpak stream: decoded length 1000 at offset 12, but at most 999 are wanted");
}

TEST(StreamDecoders, SayWhenTheLibraryHasNoDecoder) {
  HostServices services(colx_dispatch_table, nullptr);
  const StreamBuffer stream = write_wpak(byte_string("abc")).value();
  EXPECT_EQ(expand_wpak(stream.bytes(), services.env()).message(),
            "a sound wpak stream was refused with status 10 after 0 of 3 bytes; is the service the "
            "library's decoder?");
  EXPECT_EQ(
      expand_prefix_groups(write_prefix_groups(byte_string("abc"), 3).value(), nullptr).message(),
      "the library has no colx_prefix_decode_dydi");
}

}  // namespace
}  // namespace colx::host
