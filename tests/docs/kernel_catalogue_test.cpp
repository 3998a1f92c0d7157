// docs/kernels.md is what the registry, the built library and the public header say.
//
// scripts/catalogue.sh writes the page anew (COLX_WRITE_DOCS=1); otherwise it is compared.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "kernels/frame/registry.h"
#include "tests/support/kernel_library.h"

namespace colx::test {
namespace {

constexpr const char* catalogue_page = COLX_SOURCE_DIR "/docs/kernels.md";

constexpr const char* catalogue_introduction =
    R"(# Kernel catalogue

`scripts/catalogue.sh` writes this page from the kernel registry, the built library and the public
header; a test fails when it is out of date.

An index is a slot of `colx_dispatch_table`:
`operation | encoding << 5 | width code << 7 | form << 12`. A column's `colx_enc_ctx_key` is the part
above the operation, so `colx_column_index(operation, key)` is the index of an operation on a column.
Every other slot is null, and its name in `colx_dispatch_func_names` is "colx_invalid_dispatch".

| Arguments | Call shape | Parameters |
| --- | --- | --- |
| one_sided | `colx_scan_fn` | `res, src, args, kctx` |
| range | `colx_range_scan_fn` | `res, src, lo_args, hi_args, kctx` |
| decode | `colx_decode_fn` | `res, src, kctx` |
| binary | `colx_binary_fn` | `res, src, other, kctx` |

The form is bit 12 of the index: `plain`, or the variant that the name's suffix says. `twin` marks
kernels that walk the selected rows instead of scanning all when `colx_kctx_flags` asks for it
(`COLX_KCTX_SELECTIVE`).
)";

struct CatalogueRow {
  const char* name;
  uint32_t index;
  const char* arguments;
  bool variant;
};

struct CatalogueSection {
  const char* title;
  const char* text;
  std::vector<CatalogueRow> rows;
};

#define COLX_CATALOGUE_ROW(form, name, op, enc, code, flag) \
  {#name, slot_index(Op::op, Enc::enc, code, flag), #form, (flag) != 0},

std::vector<CatalogueSection> catalogue_sections() {
  return {
      {"Dictionary predicates on byte-aligned codes",
       "Comparison of codes of 8, 16, 32 and 64 bits with one or two constants. `_null`: code 0 is "
       "NULL and never hits.",
       {COLX_DICT_ALIGNED(COLX_CATALOGUE_ROW)}},
      {"Dictionary predicates on packed codes",
       "The same on codes of 2 to 20 bits, other than 8 and 16, and of 24 bits.",
       {COLX_DICT_PACKED(COLX_CATALOGUE_ROW)}},
      {"Dictionary predicates on one-bit codes",
       "The same on codes of 1 bit.",
       {COLX_DICT_ONE_BIT(COLX_CATALOGUE_ROW)}},
      {"Predicates on fixed rows",
       "Comparison of stored values of one width. `_tz`: a code a row breaks ties.",
       {COLX_FIXED(COLX_CATALOGUE_ROW)}},
      {"Predicates on dynp rows",
       "Comparison of stored values of varying length. `_tz`: the length breaks ties.",
       {COLX_DYNP(COLX_CATALOGUE_ROW)}},
      {"Unpacking of codes",
       "Packed codes to numbers of 1, 2 or 4 bytes, of ranges or lists of rows.",
       {COLX_DECODE_UNPACK(COLX_CATALOGUE_ROW)}},
      {"Decoding of codes",
       "Packed codes of listed rows to pointers, lengths and indicators of their values.",
       {COLX_DECODE(COLX_CATALOGUE_ROW)}},
      {"Decoding of unpacked codes",
       "Arrays of codes to pointers, lengths and indicators, or to copies of the values.",
       {COLX_DECODE_SYMBOL(COLX_CATALOGUE_ROW)}},
      {"Membership in a set",
       "Rows whose code is set in a bit vector of codes.",
       {COLX_SET(COLX_CATALOGUE_ROW)}},
      {"Run expansion",
       "Bits per run to bits per row, from lengths of 8 or 16 bits or from cumulative positions.",
       {COLX_BURST(COLX_CATALOGUE_ROW)}},
      {"Sum and distinct",
       "Filled so that a host may call them: they do nothing and return 0.",
       {COLX_SUM_DISTINCT(COLX_CATALOGUE_ROW)}},
      {"Translation of keys",
       "32-bit keys to small codes through a flat (`sim`), offset (`off`) or two-level (`ind`) "
       "table. `_c2d` stores the codes as well.",
       {COLX_XLATE(COLX_CATALOGUE_ROW)}},
      {"Translation into group keys",
       "Adds the elements of a table, times the column's multiplier, to an array of group keys.",
       {COLX_GROUPKEY(COLX_CATALOGUE_ROW)}},
      {"Arithmetic",
       "Row by row, on operands in native (`n`) or canonical (`c`) form. `_sum` adds the results "
       "up.",
       {COLX_ARITHMETIC(COLX_CATALOGUE_ROW)}}};
}

std::set<std::string> names_with_twins() {
#define COLX_TWIN_NAME(form, name, op, enc, code, flag) #name,
  return {COLX_SELECTIVE_TWINS(COLX_TWIN_NAME)};
#undef COLX_TWIN_NAME
}

// "_null" of colx_eq_dict_8bit_null: what the name ends in, as the flag of its index says.
std::string form_of(const CatalogueRow& row) {
  if (!row.variant) return "plain";
  std::string suffix = std::strrchr(row.name, '_');
  suffix.insert(suffix.begin(), '`');
  suffix.push_back('`');
  return suffix;
}

struct ExportedFunction {
  std::string name;
  std::string shape;
  std::string text;
};

// What the public header declares behind its data; the comment beside a declaration or else the one
// above it says what the function does.
std::vector<ExportedFunction> exported_functions() {
  std::ifstream in(COLX_SOURCE_DIR "/kernels/frame/colx_x86.h");
  const std::string header{std::istreambuf_iterator<char>(in), {}};
  const std::string text = header.substr(header.find("colx_dispatch_func_names["));
  const std::regex declaration(
      R"((?:/\* ((?:[^*]|\*(?!/))*) \*/\n)?COLX_API (?:extern )?([\w ]+?\*?) ?(colx_\w+)(\([^;]*\))?;(?: +/\* (.*?) \*/)?)");
  std::vector<ExportedFunction> found;
  for (std::sregex_iterator at(text.begin(), text.end(), declaration), end; at != end; ++at) {
    const std::smatch& match = *at;
    const std::string call = match[4].matched ? match[2].str() + match[4].str() : match[2].str();
    const std::string above = match[1].matched ? match[1].str() : "";
    ExportedFunction function;
    function.name = match[3];
    function.shape = std::regex_replace(call, std::regex(R"(\s+)"), " ");
    function.text = match[5].matched ? match[5].str() : above;
    function.text = std::regex_replace(function.text, std::regex(R"(\n \* )"), " ");
    found.push_back(function);
  }
  return found;
}

std::string table_of_exports() {
  std::string text =
      "\n## Exported functions\n\n"
      "What a host finds by name, most of it also in `colx_global_specialized_ctx`.\n\n"
      "| Function | Call shape | What it does |\n| --- | --- | --- |\n";
  for (const ExportedFunction& function : exported_functions())
    text += "| `" + function.name + "` | `" + function.shape + "` | " + function.text + " |\n";
  return text;
}

std::string expected_catalogue() {
  const std::set<std::string> twins = names_with_twins();
  std::string text = catalogue_introduction;
  for (const CatalogueSection& section : catalogue_sections()) {
    text += "\n## " + std::string(section.title) + "\n\n" + section.text + " " +
            std::to_string(section.rows.size()) + " kernels.\n\n" +
            "| Index | Kernel | Arguments | Form |\n| ---: | --- | --- | --- |\n";
    for (const CatalogueRow& row : section.rows)
      text += "| " + std::to_string(row.index) + " | `" + row.name + "` | " + row.arguments +
              " | " + form_of(row) + (twins.count(row.name) ? ", twin" : "") + " |\n";
  }
  return text + table_of_exports();
}

TEST(KernelCatalogue, ThePageIsWhatTheRegistryGives) {
  if (std::getenv("COLX_WRITE_DOCS") != nullptr) {
    std::ofstream out(catalogue_page, std::ios::binary);
    out << expected_catalogue();
    ASSERT_TRUE(out.flush()) << catalogue_page;
  }
  std::ifstream in(catalogue_page, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  EXPECT_EQ(text, expected_catalogue()) << "run scripts/catalogue.sh";
}

TEST(KernelCatalogue, TheBuiltLibraryHasEveryRowAndNoOther) {
  const KernelLibrary library(COLX_LIBRARY_FILE);
  std::set<uint32_t> listed;
  for (const CatalogueSection& section : catalogue_sections()) {
    for (const CatalogueRow& row : section.rows) {
      EXPECT_STREQ(library.name(row.index), row.name);
      EXPECT_NE(library.kernel(row.index), nullptr) << row.name;
      EXPECT_TRUE(listed.insert(row.index).second) << row.name << " is listed twice";
    }
  }
  EXPECT_EQ(listed.size(), 800u);
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot) {
    if (!listed.count(slot)) {
      EXPECT_EQ(library.kernel(slot), nullptr) << library.name(slot);
    }
  }
}

TEST(KernelCatalogue, EveryExportedFunctionHasALineOfItsOwn) {
  const KernelLibrary library(COLX_LIBRARY_FILE);
  std::set<std::string> functions;
  for (const ExportedFunction& function : exported_functions()) {
    EXPECT_NE(library.symbol(function.name.c_str()), nullptr) << function.name;
    EXPECT_NE(function.text, "") << function.name;
    EXPECT_TRUE(functions.insert(function.name).second) << function.name;
  }
  EXPECT_EQ(functions.size(), 61u);
}

}  // namespace
}  // namespace colx::test
