// Random calls of the two stream decoders.
#include "tests/decode/prefix_checks.h"
#include "tests/decode/wpak_checks.h"
#include "tests/sweep/function_sweep.h"

namespace colx::test {
namespace {

std::string wpak_stream_difference(uint64_t seed) {
  Random random(seed);
  oracle::WpakParts parts;
  const size_t symbols = 1 + random.bits(1 + static_cast<unsigned>(random.below(10)));
  for (size_t i = 0; i < symbols; ++i) parts.symbols.push_back(random.bytes(1 + random.below(8)));
  parts.codes.resize(random.below(300));
  for (uint64_t& code : parts.codes) code = random.below(symbols);
  if (random.one_in(2)) {
    parts.aux = static_cast<uint16_t>(random.next());
    if (static_cast<int16_t>(parts.aux) > 0) parts.between = random.bytes(random.below(20));
  }
  if (random.one_in(8)) parts.decoded_length = static_cast<uint32_t>(random.below(3000));
  if (random.one_in(20)) parts.flags = static_cast<uint8_t>(random.next());
  return wpak_difference(parts, random.one_in(2) ? Place::end : Place::middle);
}

std::string prefix_groups_difference(uint64_t seed) {
  Random random(seed);
  const auto length = static_cast<unsigned>(1 + random.below(8));
  const auto groups = static_cast<uint32_t>(1 + random.below(12));
  PrefixCase c = prefix_case(length, static_cast<unsigned>(random.below(length + 1)), groups,
                             static_cast<uint32_t>(1 + random.below(16)), random.next());
  for (oracle::PrefixGroup& group : c.groups) {
    const auto prefix = static_cast<unsigned>(random.below(length + 1));
    group.prefix = random.bytes(prefix);
    for (auto& suffix : group.suffixes) suffix = random.bytes(length - prefix);
  }
  if (random.one_in(20)) c.stride = static_cast<uint16_t>(random.next());
  constexpr Descriptors ways[] = {Descriptors::none, Descriptors::no_kctx, Descriptors::filled};
  return prefix_difference(c, ways[random.below(3)], random.one_in(2) ? Place::end : Place::middle);
}

}  // namespace

extern const FunctionSweep wpak_decode_sweep = {"wpak_decode", "colx_wpak_decode_dydi",
                                                wpak_stream_difference};
extern const FunctionSweep prefix_decode_sweep = {"prefix_decode", "colx_prefix_decode_dydi",
                                                  prefix_groups_difference};

}  // namespace colx::test
