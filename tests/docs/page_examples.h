// The worked examples of docs/formats.md: what encoders and kernels give, written as the page has
// it.
//
// An example stands in the page as a block of text behind a line <!-- example: NAME -->. A test
// makes the same text out of real bytes and compares; with COLX_WRITE_DOCS=1 in the environment it
// writes the block instead.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <span>
#include <string>

namespace colx::test {

inline constexpr const char* formats_page = COLX_SOURCE_DIR "/docs/formats.md";

// "12 00 AB"
inline std::string hex(const void* data, size_t bytes) {
  std::string text;
  for (size_t k = 0; k < bytes; ++k) {
    char byte[4];
    std::snprintf(byte, sizeof byte, "%02X", static_cast<const uint8_t*>(data)[k]);
    if (k) text += ' ';
    text += byte;
  }
  return text;
}
inline std::string hex(std::span<const uint8_t> bytes) {
  return hex(bytes.data(), bytes.size());
}

// Lines of a name and what belongs to it.
class ExampleText {
 public:
  ExampleText& add(std::string name, const std::string& what) {
    name.resize(std::max<size_t>(name.size() + 1, 20), ' ');
    text_ += name + what + "\n";
    return *this;
  }
  ExampleText& bytes(const std::string& name, std::span<const uint8_t> bytes) {
    return add(name, hex(bytes));
  }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

inline std::string read_page() {
  std::ifstream in(formats_page, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void expect_example(const std::string& name, const ExampleText& example) {
  std::string page = read_page();
  const std::string head = "<!-- example: " + name + " -->\n```text\n";
  const size_t marker = page.find(head);
  ASSERT_NE(marker, std::string::npos) << formats_page << " has no example " << name;
  const size_t from = marker + head.size();
  const size_t length = page.find("```", from) - from;
  if (std::getenv("COLX_WRITE_DOCS") != nullptr) {
    page.replace(from, length, example.text());
    std::ofstream(formats_page, std::ios::binary) << page;
    return;
  }
  EXPECT_EQ(page.substr(from, length), example.text()) << name;
}

// The names of the page's examples that begin with `prefix`.
inline std::set<std::string> example_names(const std::string& prefix) {
  const std::string page = read_page();
  const std::string head = "<!-- example: " + prefix;
  std::set<std::string> names;
  for (size_t at = page.find(head); at != std::string::npos; at = page.find(head, at + 1))
    names.insert(page.substr(at + 14, page.find(" -->", at) - at - 14));
  return names;
}

}  // namespace colx::test
