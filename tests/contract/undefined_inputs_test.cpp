// docs/undefined-inputs.md is the table of undefined inputs, set as a page.
//
// COLX_WRITE_DOCS=1 ./undefined_inputs_test writes the page anew instead of comparing it.
#include "tests/support/undefined_inputs.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace colx::test {
namespace {

constexpr const char* page = COLX_SOURCE_DIR "/docs/undefined-inputs.md";

constexpr const char* introduction =
    R"(# Inputs that kernels believe

Kernels check next to nothing: they run per row, on data that the host made itself. The table has every
input that is outside what they promise to serve, and what may come of it: `wrong answer` where
memory stays safe, `reads past` and `writes past` the end of a buffer. The host layer (`host/`) keeps
these inputs from kernels; a host of your own has to. Where a caller of the host layer could ask for
one, the function in the last column refuses it with a message before a kernel is called; the others
it never makes. A test shows it of every row.

What comes from elsewhere goes through a validator first: `wpak_validate` for compressed images and
`prefix_validate` for groups of values with common prefixes (`host/stream_validation.h`). The two
stream decoders are safe on what these accept, and on nothing else.

| Kernels | Undefined | Danger | The host layer | Refused by |
| --- | --- | --- | --- | --- |
)";

std::string text_of(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Bars would end a cell; angle brackets in names are no markup.
std::string cell(const char* text) {
  std::string out;
  for (; *text != '\0'; ++text) {
    if (*text == '|' || *text == '<') out += '\\';
    out += *text;
  }
  return out;
}

std::string expected_page() {
  std::string text = introduction;
  for (const UndefinedInput& row : undefined_inputs()) {
    const std::string check = row.check[0] ? "`" + std::string(row.check) + "`" : "";
    text += "| " + cell(row.kernels) + " | " + cell(row.condition) + " | " + cell(row.danger) +
            " | " + cell(row.host_layer) + " | " + check + " |\n";
  }
  return text;
}

TEST(UndefinedInputs, ThePageHoldsTheTable) {
  if (std::getenv("COLX_WRITE_DOCS") != nullptr) {
    std::ofstream out(page, std::ios::binary);
    out << expected_page();
    ASSERT_TRUE(out.flush()) << page;
  }
  EXPECT_EQ(text_of(page), expected_page());
}

TEST(UndefinedInputs, EveryRowSaysWhoWhatAndWhatTheHostLayerDoes) {
  for (const UndefinedInput& row : undefined_inputs()) {
    EXPECT_NE(std::string(row.kernels), "");
    EXPECT_NE(std::string(row.condition), "");
    EXPECT_NE(std::string(row.danger), "") << row.condition;
    EXPECT_NE(std::string(row.host_layer), "") << row.condition;
  }
}

// Whether a test program has the test: "program:Suite.Test".
bool has_test(const std::string& name) {
  const size_t colon = name.find(':'), dot = name.find('.');
  if (colon == std::string::npos || dot == std::string::npos || dot < colon) return false;
  const std::string file = name.substr(0, colon) + ".cpp";
  const std::string names =
      "(" + name.substr(colon + 1, dot - colon - 1) + ", " + name.substr(dot + 1) + ")";
  for (const char* folder : {"host", "examples"}) {
    const std::string text =
        text_of(std::filesystem::path(COLX_SOURCE_DIR) / "tests" / folder / file);
    for (const char* macro : {"\nTEST", "\nTEST_F", "\nTEST_P"})
      if (text.find(macro + names) != std::string::npos) return true;
  }
  return false;
}

TEST(UndefinedInputs, OfEveryRowATestShowsWhatTheHostLayerDoes) {
  for (const UndefinedInput& row : undefined_inputs())
    EXPECT_TRUE(has_test(row.shown_by)) << row.condition << ": no test " << row.shown_by;
  EXPECT_FALSE(has_test(""));
  EXPECT_FALSE(has_test("result_test:Result.IsNoTestOfIt"));
}

TEST(UndefinedInputs, WhatRefusesThemIsAFunctionOfTheHostLayer) {
  std::string headers;
  for (const auto& file : std::filesystem::directory_iterator(COLX_SOURCE_DIR "/host"))
    if (file.path().extension() == ".h") headers += text_of(file.path());
  for (const UndefinedInput& row : undefined_inputs()) {
    const std::string check = row.check;
    if (check.empty()) continue;
    const size_t scope = check.find("::");
    const std::string function = scope == std::string::npos ? check : check.substr(scope + 2);
    EXPECT_NE(headers.find(" " + function + "("), std::string::npos) << check;
    if (scope == std::string::npos) continue;
    const std::string name = check.substr(0, scope) + " {";
    EXPECT_TRUE(headers.find("class " + name) != std::string::npos ||
                headers.find("struct " + name) != std::string::npos)
        << check;
  }
}

}  // namespace
}  // namespace colx::test
