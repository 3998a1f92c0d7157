#include "examples/star/families.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

namespace colx::star {
namespace {

constexpr std::string_view dict_scans = "scans of dictionary codes";
constexpr std::string_view null_scans = "scans of codes with NULLs";
constexpr std::string_view fixed_scans = "scans of fixed rows";
constexpr std::string_view dynp_scans = "scans of dynp rows";
constexpr std::string_view walks = "scans that walk selected rows";
constexpr std::string_view sets = "sets of codes";
constexpr std::string_view bursts = "run expansion of bit vectors";
constexpr std::string_view word_bits = "word bit vectors";
constexpr std::string_view byte_bits = "byte bit vectors";
constexpr std::string_view unpacking = "unpacking";
constexpr std::string_view decoding = "dictionary and symbol decoding";
constexpr std::string_view packed_texts = "packed texts and prefix streams";
constexpr std::string_view translation = "translation of keys";
constexpr std::string_view shares = "translation into group keys";
constexpr std::string_view hashing = "hashing";
constexpr std::string_view tables = "hash table build and probe";
constexpr std::string_view bloom = "Bloom filters";
constexpr std::string_view partitioning = "partitioning";
constexpr std::string_view gathering = "gather";
constexpr std::string_view transposing = "transpose into row stores";
constexpr std::string_view arithmetic = "arithmetic";
constexpr std::string_view group_keys = "group keys of columns";
constexpr std::string_view group_sums = "group sums";
constexpr std::string_view conversion = "conversion";
constexpr std::string_view crossings = "crossing counts";
constexpr std::string_view statistics = "statistics";

constexpr std::string_view families[] = {
    dict_scans, null_scans, fixed_scans, dynp_scans,   walks,        sets,        bursts,
    word_bits,  byte_bits,  unpacking,   decoding,     packed_texts, translation, shares,
    hashing,    tables,     bloom,       partitioning, gathering,    transposing, arithmetic,
    group_keys, group_sums, conversion,  crossings,    statistics};

}  // namespace

std::span<const std::string_view> all_families() {
  return families;
}

Usage usage_of(const StarStore& store, const StarQuery& query, const StarPlan& plan) {
  Usage usage{query.name, {word_bits, group_sums}};
  const auto add = [&](std::string_view family) {
    if (std::ranges::find(usage.families, family) == usage.families.end())
      usage.families.push_back(family);
  };
  for (const host::KeyFilter& filter : plan.filters) {
    add(filter.is_set() ? sets : dict_scans);
    if (!filter.column().chunks.empty() && filter.column().chunks.front().runs) add(bursts);
  }
  if (plan.join)
    for (const std::string_view family : {hashing, tables, bloom, unpacking}) add(family);
  if (!plan.shares.empty()) add(unpacking), add(shares);
  for (const GroupColumn& group : plan.groups)
    if (store.names(group.column)) add(gathering);
  return usage;
}

std::vector<Usage> command_usage() {
  return {{"text streams", {packed_texts}},
          {"flight 1 scans", {dict_scans, walks, bursts, word_bits, decoding}},
          {"nullable scans", {null_scans, word_bits}},
          {"stored values", {fixed_scans, dynp_scans, walks, word_bits}},
          {"joins", {unpacking, hashing, tables, bloom, partitioning}},
          {"names", {decoding, transposing, tables, gathering}},
          {"groupings", {translation, shares, group_keys, group_sums}},
          {"line numbers", {arithmetic, conversion, crossings, byte_bits}},
          {"--stats", {statistics}}};
}

bool print_usage(const std::vector<Usage>& usage) {
  bool all_used = true;
  for (const std::string_view family : families) {
    std::string users;
    for (const Usage& each : usage)
      if (std::ranges::find(each.families, family) != each.families.end())
        users += fmt::format("{}{}", users.empty() ? "" : ", ", each.user);
    fmt::print("  {:<32} {}\n", family, users.empty() ? "NOT USED" : users);
    all_used &= !users.empty();
  }
  return all_used;
}

}  // namespace colx::star
