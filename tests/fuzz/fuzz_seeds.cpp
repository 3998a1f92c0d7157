// Writes the inputs that the fuzz targets start from, the same ones each time: streams of our own
// writers at every width and around the blocks of codes, groups of every value length.
//
// For columns, tables and group keys, whose inputs hold next to anything: a few sizes of each
// shape, filled at random.
//
// usage: fuzz_seeds FOLDER       makes FOLDER/<target> for every target

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

// A head of the given bytes, then `size` random ones.
void write_random_seeds(const std::filesystem::path& folder, std::span<const Bytes> heads,
                        std::span<const size_t> sizes) {
  std::filesystem::create_directories(folder);
  uint64_t number = 0;
  for (const Bytes& head : heads)
    for (const size_t size : sizes) {
      Random random(number);
      Bytes input = head;
      const Bytes rest = random.bytes(size);
      input.insert(input.end(), rest.begin(), rest.end());
      store(folder / std::to_string(number++), input);
    }
}

// A kernel each of both forms and every word; 0 to 300 rows.
void write_dynp_seeds(const std::filesystem::path& folder) {
  std::vector<Bytes> heads;
  for (uint8_t kernel = 0; kernel < 60; kernel = static_cast<uint8_t>(kernel + 7))
    for (const uint8_t rows : {1, 31, 64, 200}) heads.push_back({kernel, 0, rows});
  write_random_seeds(folder, heads, std::vector<size_t>{34, 300, 1500});
}

// Every table form and key layout, with and without partitions.
void write_join_seeds(const std::filesystem::path& folder) {
  std::vector<Bytes> heads;
  for (uint8_t form = 0; form < 4; ++form)
    for (uint8_t layout = 0; layout < 42; layout = static_cast<uint8_t>(layout + 4))
      heads.push_back({form, static_cast<uint8_t>(layout * 5), layout, 100, 20});
  write_random_seeds(folder, heads, std::vector<size_t>{90, 600});
}

// Every choice of rows, of one column and of several.
void write_group_key_seeds(const std::filesystem::path& folder) {
  std::vector<Bytes> heads;
  for (uint8_t form = 0; form < 16; ++form)
    for (const uint8_t rows : {20, 100})
      heads.push_back(
          {form, static_cast<uint8_t>(form / 3), rows, 60, 30, 2, 0xA5, 0x5A, 0x21, 0x80});
  write_random_seeds(folder, heads, std::vector<size_t>{60, 900});
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
  write_dynp_seeds(folder / "dynp_fuzz");
  write_join_seeds(folder / "join_fuzz");
  write_group_key_seeds(folder / "group_key_fuzz");
  return failed ? 1 : 0;
}
