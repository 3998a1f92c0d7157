// tbl_folder.h: a private copy of the small tables in tbl/, to be spoiled by tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

namespace colx::star {

inline const std::filesystem::path small_tables =
    std::filesystem::path{COLX_SOURCE_DIR} / "tests/examples/tbl";

class TblFolder {
 public:
  TblFolder() {
    std::string name = ::testing::TempDir() + "colx_star_XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    path_ = name;
    std::filesystem::copy(small_tables, path_);
  }
  ~TblFolder() { std::filesystem::remove_all(path_); }
  TblFolder(const TblFolder&) = delete;
  TblFolder& operator=(const TblFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string file(std::string_view table) const { return path_ / (std::string{table} + ".tbl"); }

  std::string text(std::string_view table) const {
    std::ifstream in(file(table), std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
  }
  void write(std::string_view table, std::string_view text) const {
    std::ofstream(file(table), std::ios::binary) << text;
  }
  // Replaces the first occurrence, which must exist.
  void replace(std::string_view table, std::string_view from, std::string_view to) const {
    std::string all = text(table);
    const size_t at = all.find(from);
    if (at == all.npos) std::abort();
    write(table, all.replace(at, from.size(), to));
  }

 private:
  std::filesystem::path path_;
};

}  // namespace colx::star
