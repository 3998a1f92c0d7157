// The demo host as its users meet it: the built program, its output and its exit status.

#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/examples/tbl_folder.h"
#include "tests/support/ended_program.h"

namespace colx::star {
namespace {

using test::EndedProgram;

EndedProgram run_star(const std::string& arguments) {
  return test::run_command(COLX_STAR_PROGRAM " " + arguments);
}

const std::string with_library = "--library " COLX_LIBRARY_FILE " ";

size_t occurrences(const std::string& text, std::string_view part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

constexpr std::string_view right = "the row-by-row evaluation finds the same\n";

// Three scans of flight 1, one with NULLs, six on stored values, eight with ties, twenty joins,
// four fetches of names, four groupings, four sums and counts, the benchmark's thirteen; and a
// survey for each form of a column, of which the scale decides how many there are.
size_t every_query(const std::string& output) {
  const size_t survey = output.find("Distinct values, ");
  const std::string lines = output.substr(survey, output.find("\n\n", survey) - survey);
  const size_t surveys = occurrences(lines, "\n  ");
  EXPECT_GE(surveys, 5u) << lines;
  return 63 + surveys;
}

TEST(StarProgram, AnswersEveryQueryRightAtTheSmallestScale) {
  const EndedProgram demo = run_star(with_library + "--scale 0.01 --repeat 1");
  EXPECT_EQ(demo.status, 0);
  EXPECT_EQ(occurrences(demo.output, right), every_query(demo.output)) << demo.output;
  EXPECT_EQ(occurrences(demo.output, "WRONG"), 0u) << demo.output;
  EXPECT_NE(demo.output.find("lineorder, 60,000 rows"), std::string::npos) << demo.output;
}

TEST(StarProgram, ComparesWithSqliteAndPrintsStatistics) {
  const EndedProgram demo =
      run_star(with_library +
               "--scale 0.01 --repeat 1 --threads 2 --check plain --check sqlite "
               "--stats");
  EXPECT_EQ(demo.status, 0);
  EXPECT_EQ(occurrences(demo.output, "finds the same rows\n"), 13u) << demo.output;
  EXPECT_NE(demo.output.find("colx_set_dict_"), std::string::npos);
  EXPECT_NE(demo.output.find("\tMrowsPerSec: "), std::string::npos);
  EXPECT_NE(demo.output.find(" MiB in use, "), std::string::npos);
}

// Compares two files byte by byte.
bool same_bytes(const std::string& one, const std::string& other) {
  const auto bytes = [](const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  return !bytes(one).empty() && bytes(one) == bytes(other);
}

TEST(StarProgram, WritesFilesThatItReadsToTheSameTables) {
  const TblFolder first, second;
  const std::string to = " --export ";
  EXPECT_EQ(run_star(with_library + "--scale 0.01" + to + first.path().string()).status, 0);
  const std::filesystem::path made = second.path() / "made" / "on the way";
  EXPECT_EQ(
      run_star(with_library + "--data " + first.path().string() + to + "'" + made.string() + "'")
          .status,
      0);
  for (const char* table : {"lineorder", "customer", "supplier", "part", "date"})
    EXPECT_TRUE(same_bytes(first.file(table), made / (std::string(table) + ".tbl"))) << table;
}

TEST(StarProgram, WritesItsAnswersForOtherPrograms) {
  const TblFolder folder;
  const std::string file = folder.path() / "answers.json";
  EXPECT_EQ(
      run_star(with_library + "--data " + small_tables.string() + " --answers " + file).status, 0);
  std::ifstream in(file);
  const std::string json(std::istreambuf_iterator<char>(in), {});
  EXPECT_TRUE(json.starts_with("[{\"name\": \"Q1.1\", \"sql\": \"select sum(lo_extended")) << json;
  EXPECT_NE(json.find("\"rows\": [[\"4237000\"]]}"), std::string::npos) << json;
  EXPECT_EQ(occurrences(json, "\"name\""), 13u);
}

TEST(StarProgram, ListsWhatUsesWhatAndEnds) {
  const EndedProgram list = run_star(with_library + "--scale 0.02 --list --repeat 1");
  EXPECT_EQ(list.status, 0);
  EXPECT_NE(list.output.find("gather "), std::string::npos) << list.output;
  EXPECT_NE(list.output.find("\n  scans of rows with ties            ties\n"), std::string::npos)
      << list.output;
  EXPECT_EQ(list.output.find("NOT USED"), std::string::npos) << list.output;
  EXPECT_EQ(occurrences(list.output, right), 0u);
}

TEST(StarProgram, AnswersRightOnSortedLines) {
  const EndedProgram demo = run_star(with_library + "--scale 0.02 --repeat 1 --sort");
  EXPECT_EQ(demo.status, 0);
  EXPECT_EQ(occurrences(demo.output, right), every_query(demo.output)) << demo.output;
  EXPECT_NE(demo.output.find("sorted by date"), std::string::npos) << demo.output;
}

TEST(StarProgram, FindsTheLibraryOfItsOwnBuild) {
  EXPECT_EQ(run_star("--scale 0.01 --repeat 1").status, 0);
}

TEST(StarProgram, AnswersFromFilesAndListsTheRows) {
  const EndedProgram demo = run_star(with_library + "--data " + small_tables.string());
  EXPECT_EQ(demo.status, 0);
  EXPECT_EQ(occurrences(demo.output, right), every_query(demo.output)) << demo.output;
  EXPECT_NE(demo.output.find("  2 rows match, revenue 30,457,080;"), std::string::npos)
      << demo.output;  // Q1.2
  // order, line, date, quantity, discount, price
  EXPECT_NE(demo.output.find("                 7                 1          19940131"
                             "                35                 6           3160500\n"),
            std::string::npos)
      << demo.output;
}

TEST(StarProgram, PrintsNoProgressWhereNobodyWatches) {
  const EndedProgram demo = run_star(with_library + "--scale 0.01 --repeat 1 2>&1");
  EXPECT_EQ(demo.status, 0);
  EXPECT_EQ(demo.output.find('\x1b'), std::string::npos);
  EXPECT_EQ(demo.output.find('\r'), std::string::npos);
}

TEST(StarProgram, ExplainsItself) {
  const EndedProgram help = run_star("--help");
  EXPECT_EQ(help.status, 0);
  for (const char* option : {"--scale", "--data", "--sort", "--library", "--rows", "--repeat",
                             "--threads", "--check", "--list", "--stats", "--export", "--answers"})
    EXPECT_NE(help.output.find(option), std::string::npos) << option;
}

// Everything that cannot be used ends with status 2 and one line on standard error.
struct Misuse {
  const char* arguments;
  const char* message;  // may begin in the middle of the line
};

class StarProgramMisuse : public testing::TestWithParam<Misuse> {};

TEST_P(StarProgramMisuse, EndsWithStatus2AndOneLine) {
  const EndedProgram misuse = run_star(std::string{GetParam().arguments} + " 2>&1 >/dev/null");
  EXPECT_EQ(misuse.status, 2);
  EXPECT_TRUE(misuse.output.starts_with("colx_star: ")) << misuse.output;
  EXPECT_NE(misuse.output.find(GetParam().message), std::string::npos) << misuse.output;
  EXPECT_EQ(occurrences(misuse.output, "\n"), 1u) << misuse.output;
}

INSTANTIATE_TEST_SUITE_P(
    , StarProgramMisuse,
    testing::Values(Misuse{"--scale 0.001", "--scale: 0.001 is not a number from 0.01 to 100"},
                    Misuse{"--scale nan", "--scale: nan is not a number from 0.01 to 100"},
                    Misuse{"--scale 1000", "--scale: 1000 is not a number from 0.01 to 100"},
                    Misuse{"--scale many", "--scale: many is not a number"},
                    Misuse{"--repeat 0", "--repeat"}, Misuse{"--threads 0", "--threads"},
                    Misuse{"--check oracle", "--check"},
                    Misuse{"--scale 0.01 --export /proc/at/all",
                           "/proc/at/all cannot be made a folder: No such file or directory"},
                    Misuse{"--scale 0.01 --export /proc",
                           "/proc/lineorder.tbl cannot be written: No such file or directory"},
                    Misuse{"--scale 100 --answers /nowhere/a",  // before tables are made
                           "/nowhere/a cannot be written: No such file or directory"},
                    Misuse{"--scale 0.01 --repeat 1 --answers /dev/full",
                           "/dev/full cannot be written: No space left on device"},
                    Misuse{"--scale 0.01 --export ''", "--export: a name is missing"},
                    Misuse{"--scale 0.01 --answers ''", "--answers: a name is missing"},
                    Misuse{"--data ''", "--data: a name is missing"},
                    Misuse{"--library '' --scale 0.01", "--library: a name is missing; see"},
                    Misuse{"--speed 3", "--speed"}, Misuse{"tables", "tables"},
                    Misuse{"--scale 1 --data .", "excludes"},
                    Misuse{"--data /nowhere/at/all", "/nowhere/at/all is not a directory"},
                    Misuse{"--library /nowhere/at/all.so", "/nowhere/at/all.so"},
                    Misuse{"--library /dev/null --scale 0.01", "/dev/null"}));

TEST(StarProgram, NamesFileLineAndReasonOfAMalformedLine) {
  const TblFolder folder;
  folder.replace("lineorder", "|24|2162400|", "|24|");
  const EndedProgram demo =
      run_star(with_library + "--data " + folder.path().string() + " 2>&1 >/dev/null");
  EXPECT_EQ(demo.status, 2);
  EXPECT_EQ(demo.output,
            "colx_star: " + folder.file("lineorder") +
                ", line 1: the line has 16 fields, expected 17 (lo_orderkey to lo_shipmode)\n");
}

TEST(StarProgram, SaysSoWhenItsOutputCannotBeWritten) {
  const EndedProgram demo = run_star(with_library + "--scale 0.01 --repeat 1 2>&1 >/dev/full");
  EXPECT_EQ(demo.status, 2);
  EXPECT_TRUE(demo.output.starts_with("colx_star: ")) << demo.output;
}

TEST(StarProgram, ClearsItsProgressLineBeforeASignalEndsIt) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const EndedProgram demo = test::run_on_terminal(
        {COLX_STAR_PROGRAM, "--scale", "4", "--library", COLX_LIBRARY_FILE}, signal);
    EXPECT_EQ(demo.signal, signal);
    EXPECT_NE(demo.output.find("generating customer  0 %"), std::string::npos) << demo.output;
    EXPECT_TRUE(demo.output.ends_with("\r\x1b[K")) << demo.output;
    EXPECT_EQ(demo.output.find("\x1b[?"), std::string::npos) << "no mode is left to be reset";
  }
}

}  // namespace
}  // namespace colx::star
