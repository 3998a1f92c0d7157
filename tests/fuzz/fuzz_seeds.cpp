// Writes the inputs that the fuzz targets start from, the same ones each time: streams of our own
// writers at every width and around the blocks of codes, groups of every value length.
//
// usage: fuzz_seeds FOLDER       makes FOLDER/wpak_fuzz and FOLDER/prefix_fuzz

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include "host/big_endian.h"
#include "host/prefix_writer.h"
#include "host/wpak_writer.h"
#include "tests/support/seeded_random.h"

namespace {

using namespace colx::host;
using colx::test::Random;
using Bytes = std::vector<uint8_t>;

bool failed = false;

void store(const std::filesystem::path& file, std::span<const uint8_t> bytes) {
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  if (out.flush()) return;
  std::fprintf(stderr, "fuzz_seeds: cannot write %s\n", file.c_str());
  failed = true;
}

// Bytes of 2 values: any width can encode them.
Bytes two_letters(size_t bytes, Random& random) {
  Bytes all;
  for (size_t i = 0; i < bytes; ++i) all.push_back(random.one_in(3) ? 'b' : 'a');
  return all;
}

void write_wpak_seeds(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  store(folder / "empty", write_wpak(Bytes{})->bytes());
  store(folder / "all_bytes", write_wpak(Random(1).bytes(300), {.code_bits = 8})->bytes());
  for (uint32_t bits = 0; bits <= 6; ++bits) {
    Random random(bits);
    const Bytes data = bits == 0 ? Bytes(50, 'a') : two_letters(40 + 60 * bits, random);
    const std::string name = "bits_" + std::to_string(bits);
    store(folder / name, write_wpak(data, {.code_bits = bits})->bytes());
    store(folder / (name + "_sections"),
          write_wpak(data, {.code_bits = bits, .section_gap_bytes = bits})->bytes());
  }
  for (const size_t codes : {32, 33, 63, 64, 65, 96, 128}) {
    const std::vector<WpakSymbol> letters = {WpakSymbol("a"), WpakSymbol("b"), WpakSymbol("ccc"),
                                             WpakSymbol("d"), WpakSymbol("eeeeeeee")};
    Random random(codes);
    store(folder / ("codes_" + std::to_string(codes)),
          write_wpak_with(two_letters(codes, random), letters)->bytes());
  }
}

void write_prefix_seeds(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  for (uint32_t length = 1; length <= 8; ++length)
    for (const uint32_t values : {1, 16, 17, 40}) {
      Bytes all = Random(length).bytes(size_t{values} * length);
      for (size_t i = 0; i < all.size(); ++i)
        if (i % length < length / 2) all[i] = 'p';
      const auto groups = write_prefix_groups(all, length).value();
      Bytes input(6);
      store_big_endian(input.data(), groups.values, 2);
      store_big_endian(input.data() + 2, groups.groups, 2);
      input[4] = static_cast<uint8_t>(length);
      input[5] = prefix_group_values;
      input.insert(input.end(), groups.stream.bytes().begin(), groups.stream.bytes().end());
      store(folder / (std::to_string(values) + "_of_" + std::to_string(length)), input);
    }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds FOLDER\n");
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  write_wpak_seeds(folder / "wpak_fuzz");
  write_prefix_seeds(folder / "prefix_fuzz");
  return failed ? 1 : 0;
}
