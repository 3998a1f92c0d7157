// docs/threads.md says that each class of the toolkit tells in its header whether threads may share
// it. So the comment in front of each class has to.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

namespace colx {
namespace {

bool tells_of_threads(const std::string& comment) {
  static const std::regex word("[Tt]hread|synchronised|at a time|at once|[Ss]hare");
  return std::regex_search(comment, word);
}

// Names the classes of a header whose comment does not tell; counts all of them.
std::string silent_classes(const std::filesystem::path& header, size_t& classes) {
  static const std::regex begins(R"((?:template.*)?class (?:\[\[nodiscard\]\] )?(\w+) \{)");
  std::string comment, silent;
  std::ifstream in(header);
  for (std::string line; std::getline(in, line);) {
    std::smatch found;
    if (line.starts_with("//")) {
      comment += line + "\n";
    } else if (std::regex_match(line, found, begins)) {
      ++classes;
      if (!tells_of_threads(comment)) silent += found.str(1) + " ";
    }
    if (!line.starts_with("//") && !line.starts_with("template")) comment.clear();
  }
  return silent;
}

TEST(SharedClasses, EveryClassOfTheToolkitTellsWhetherThreadsMayShareIt) {
  size_t classes = 0;
  for (const auto& file : std::filesystem::directory_iterator(COLX_SOURCE_DIR "/host")) {
    if (file.path().extension() != ".h") continue;
    EXPECT_EQ(silent_classes(file.path(), classes), "") << file.path().filename();
  }
  EXPECT_GE(classes, 30u);
}

}  // namespace
}  // namespace colx
