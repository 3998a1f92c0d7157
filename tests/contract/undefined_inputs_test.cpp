// docs/undefined-inputs.md is the table of undefined inputs, set as a page.
//
// COLX_WRITE_DOCS=1 ./undefined_inputs_test writes the page anew instead of comparing it.
#include "tests/support/undefined_inputs.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace colx::test {
namespace {

constexpr const char* page = COLX_SOURCE_DIR "/docs/undefined-inputs.md";

constexpr const char* introduction =
    R"(# Inputs that kernels believe

Kernels check next to nothing: they run per row, on data that the host made itself. Where an input is
outside what they promise to serve, anything may follow, from a wrong answer to a read or a write
beyond a buffer, unless the row below says how far it goes. The host layer (`host/`) keeps these
inputs from them; a host of your own has to.

What comes from elsewhere goes through a validator first: `wpak_validate` for compressed images and
`prefix_validate` for groups of values with common prefixes (`host/stream_validation.h`). The two
stream decoders are safe on what these accept, and on nothing else.

| Kernels | Undefined | The host layer |
| --- | --- | --- |
)";

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
    text += "| " + cell(row.kernels) + " | " + cell(row.condition) + " | " + cell(row.host_layer) +
            " |\n";
  }
  return text;
}

TEST(UndefinedInputs, ThePageHoldsTheTable) {
  if (std::getenv("COLX_WRITE_DOCS") != nullptr) {
    std::ofstream out(page, std::ios::binary);
    out << expected_page();
    ASSERT_TRUE(out.flush()) << page;
  }
  std::ifstream in(page, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  EXPECT_EQ(text, expected_page());
}

TEST(UndefinedInputs, EveryRowSaysWhoWhatAndWhatTheHostLayerDoes) {
  for (const UndefinedInput& row : undefined_inputs()) {
    EXPECT_NE(std::string(row.kernels), "");
    EXPECT_NE(std::string(row.condition), "");
    EXPECT_NE(std::string(row.host_layer), "") << row.condition;
  }
}

}  // namespace
}  // namespace colx::test
