#include "examples/star/families.h"

#include <fmt/format.h>

#include "host/slot_parts.h"
#include "kernels/frame/colx_x86.h"

namespace colx::star {
namespace {

constexpr std::string_view bit_scans = "scans of one-bit codes";
constexpr std::string_view aligned_scans = "scans of codes of whole bytes";
constexpr std::string_view packed_scans = "scans of packed codes";
constexpr std::string_view null_scans = "scans of codes with NULLs";
constexpr std::string_view fixed_scans = "scans of fixed rows";
constexpr std::string_view dynp_scans = "scans of dynp rows";
constexpr std::string_view tie_scans = "scans of rows with ties";
constexpr std::string_view sets = "sets of codes";
constexpr std::string_view bursts = "run expansion of bit vectors";
constexpr std::string_view word_bits = "word bit vectors";
constexpr std::string_view byte_bits = "byte bit vectors";
constexpr std::string_view unpacking = "unpacking";
constexpr std::string_view decoding = "decoding of packed codes";
constexpr std::string_view symbols = "decoding of unpacked codes";
constexpr std::string_view unserved = "slots of sums and distinct counts";
constexpr std::string_view packed_texts = "packed texts";
constexpr std::string_view prefixes = "prefix streams";
constexpr std::string_view translation = "translation of keys";
constexpr std::string_view shares = "translation into group keys";
constexpr std::string_view hashing = "hashing";
constexpr std::string_view building = "hash table build";
constexpr std::string_view probing = "hash table probe";
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
    bit_scans,     aligned_scans, packed_scans, null_scans,   fixed_scans, dynp_scans,  tie_scans,
    walking_scans, sets,          bursts,       word_bits,    byte_bits,   unpacking,   decoding,
    symbols,       unserved,      packed_texts, prefixes,     translation, shares,      hashing,
    building,      probing,       bloom,        partitioning, gathering,   transposing, arithmetic,
    group_keys,    group_sums,    conversion,   crossings,    statistics};

std::string_view family_of_scan(uint32_t encoding, uint32_t width_code, bool variant) {
  if (encoding != COLX_ENC_DICT)
    return variant ? tie_scans : encoding == COLX_ENC_DYNP ? dynp_scans : fixed_scans;
  if (variant) return null_scans;
  if (width_code == colx_width_code(1)) return bit_scans;
  for (const uint32_t bits : {8, 16, 32, 64})
    if (width_code == colx_width_code(bits)) return aligned_scans;
  return packed_scans;
}

}  // namespace

std::span<const std::string_view> all_families() {
  return families;
}

std::string_view family_of_slot(uint32_t slot) {
  const host::SlotParts parts = host::parts_of_slot(slot);
  switch (parts.operation) {
    case COLX_OPC_DECODE:
      return decoding;
    case COLX_OPC_DECODE_UNPACK:
      return unpacking;
    case COLX_OPC_DECODE_SYMBOL:
      return symbols;
    case COLX_OPC_SET:
      return sets;
    case COLX_OPC_BURST:
      return bursts;
    case COLX_OPC_SUM:
    case COLX_OPC_DISTINCT:
      return unserved;
    case COLX_OPC_XLATE:
      return parts.encoding == COLX_XLATE_GROUPKEY ? shares : translation;
    case COLX_OPC_ADD:
    case COLX_OPC_SUB:
    case COLX_OPC_MUL:
      return arithmetic;
    default:
      return family_of_scan(parts.encoding, parts.width_code, parts.variant);
  }
}

std::string_view family_of_function(std::string_view name) {
  if (name.starts_with("lbiwv")) return word_bits;
  if (name.starts_with("lbiv")) return byte_bits;
  if (name.starts_with("transpose_")) return transposing;
  constexpr struct {
    std::string_view name, family;
  } others[] = {{"bloom", bloom},          {"spatial_pip", crossings},
                {"groupkey", group_keys},  {"gby_sum", group_sums},
                {"convert", conversion},   {"prefix_decode", prefixes},
                {"hash", hashing},         {"ht_build", building},
                {"ht_probe", probing},     {"partition", partitioning},
                {"gather", gathering},     {"wpak_decode", packed_texts},
                {"stats_dump", statistics}};
  for (const auto& other : others)
    if (name == other.name) return other.family;
  return {};
}

bool print_usage(const std::vector<Usage>& usage) {
  bool all_used = true;
  for (const std::string_view family : families) {
    std::string users;
    for (const Usage& each : usage)
      if (each.families.contains(family))
        users += fmt::format("{}{}", users.empty() ? "" : ", ", each.user);
    fmt::print("  {:<34} {}\n", family, users.empty() ? "NOT USED" : users);
    all_used &= !users.empty();
  }
  return all_used;
}

}  // namespace colx::star
