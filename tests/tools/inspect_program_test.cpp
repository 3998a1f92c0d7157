// The tool as its users meet it: the built program, its output, its errors and its exit status.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "tests/support/ended_program.h"

namespace colx::inspect {
namespace {

using test::EndedProgram;
using test::run_command;

EndedProgram inspect(const std::string& arguments) {
  return run_command(COLX_INSPECT_PROGRAM " " + arguments + " 2>&1");
}

EndedProgram inspect_library(const std::string& arguments) {
  return inspect("--library " COLX_LIBRARY_FILE " " + arguments);
}

#define EXPECT_HOLDS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (text)

// A file in the test's folder, gone at the end.
struct RowFile {
  RowFile(const std::string& ending, std::string_view rows)
      : name(testing::TempDir() + "inspect_rows_" + std::to_string(getpid()) + ending) {
    std::ofstream(name, std::ios::binary) << rows;
  }
  ~RowFile() { std::remove(name.c_str()); }
  RowFile(const RowFile&) = delete;
  RowFile& operator=(const RowFile&) = delete;
  std::string name;
};

TEST(InspectProgram, VerifiesTheBuiltLibrary) {
  const EndedProgram verify = inspect_library("verify");
  EXPECT_EQ(verify.status, 0) << verify.output;
  EXPECT_HOLDS(verify.output, "ok    record     version 19.1-1, variant tvlpsse4219\n");
  EXPECT_HOLDS(verify.output, "ok    functions  all 61 are exported\n");
  EXPECT_HOLDS(verify.output, "ok    table      8,192 slots\n");
  EXPECT_HOLDS(verify.output, "ok    kernels    800 of them, each in its slot\n");
  EXPECT_HOLDS(verify.output, "ok    names      each slot is called what it holds\n");
}

TEST(InspectProgram, FindsTheLibraryOfItsOwnBuild) {
  EXPECT_EQ(inspect("verify").status, 0);
  EXPECT_EQ(inspect("verify --library " COLX_LIBRARY_FILE).status, 0);
}

TEST(InspectProgram, TellsTheFaultsOfAnAlteredTable) {
  const EndedProgram verify = inspect("--library " COLX_ALTERED_LIBRARY " verify");
  EXPECT_EQ(verify.status, 1) << verify.output;
  EXPECT_HOLDS(verify.output, "ok    record ");
  EXPECT_HOLDS(verify.output, "FAIL  functions  colx_init_sharedlib_dydi is missing\n");
  EXPECT_HOLDS(verify.output, "colx_dispatch_table_size() says 8191 slots instead of 8192\n");
  EXPECT_HOLDS(verify.output, "slot 32 is empty, colx_eq_dict_1bit is missing\n");
  EXPECT_HOLDS(verify.output, "FAIL  kernels    and 7");
  EXPECT_HOLDS(verify.output, "slot 32 is called colx_invalid_dispatch, not colx_eq_dict_1bit\n");
  const EndedProgram families = inspect("--library " COLX_ALTERED_LIBRARY " families");
  EXPECT_EQ(families.status, 0);
  EXPECT_HOLDS(families.output, "   2 of   80  dictionary predicates on byte-aligned codes");
  EXPECT_HOLDS(families.output, "   2 of  800  kernels\n");
  const EndedProgram time = inspect("--library " COLX_ALTERED_LIBRARY " time colx_gt_dict_8bit");
  EXPECT_EQ(time.status, 2);
  EXPECT_HOLDS(time.output, "has no kernel colx_gt_dict_8bit");
}

TEST(InspectProgram, NoticesAKernelThatFindsOtherRows) {
  const EndedProgram time =
      inspect("--library " COLX_ALTERED_LIBRARY " time colx_eq_dict_8bit --rows 5k --passes 1");
  EXPECT_EQ(time.status, 1) << time.output;
  EXPECT_HOLDS(time.output, "\nWRONG     0 hits, by plain evaluation ");
}

TEST(InspectProgram, FailsVerificationOfAnotherFileAndRefusesAMissingOne) {
  const EndedProgram other = inspect("--library " COLX_INSPECT_PROGRAM " verify");
  EXPECT_EQ(other.status, 1);
  EXPECT_HOLDS(other.output, "FAIL  record");
  const EndedProgram missing = inspect("--library ./missing.so verify");
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.output,
            "colx-inspect: ./missing.so: cannot be opened: No such file or directory\n");
  EXPECT_EQ(inspect("--library ./missing.so families").status, 2);
}

TEST(InspectProgram, CountsTheFamilies) {
  const EndedProgram families = inspect_library("families");
  EXPECT_EQ(families.status, 0);
  EXPECT_HOLDS(families.output, " 360 of  360  dictionary predicates on packed codes, as ");
  EXPECT_HOLDS(families.output, "  48 of   48  arithmetic, as colx_add_float_n_n\n");
  EXPECT_HOLDS(families.output, " 800 of  800  kernels\n");
}

TEST(InspectProgram, ListsKernelsByPatternOrPart) {
  const std::string one = " 1577  colx_ge_le_dict_13bit              res, src, low, high, kctx\n";
  EXPECT_EQ(inspect_library("list 'colx_ge_le_dict_13bit'").output,
            one + " 5673  colx_ge_le_dict_13bit_null         res, src, low, high, kctx\n");
  EXPECT_EQ(inspect_library("list 'colx_ge_?e_dict_13bit'").output, one);
  const EndedProgram all = inspect_library("list");
  EXPECT_EQ(std::count(all.output.begin(), all.output.end(), '\n'), 800);
  const EndedProgram none = inspect_library("list colx_eq_dict_21bit");
  EXPECT_EQ(none.status, 2);
  EXPECT_HOLDS(none.output, "colx-inspect: no kernel matches \"colx_eq_dict_21bit\"; ");
}

TEST(InspectProgram, TimesAKernelOfEachKindRightly) {
  for (const std::string kernel :
       {"colx_ge_le_dict_13bit", "colx_ne_dict_1bit_null", "colx_gt_dict_64bit",
        "colx_lt_fixed_32bit_tz", "colx_eq_fixed_8bit", "colx_gt_le_dynp_64bit_tz",
        "colx_set_dict_20bit", "colx_decode_unpack_dict_11bit", "colx_decode_dict_5bit",
        "colx_decode_symbol_dict_16bit", "colx_burst_rle_8bit", "colx_burst_rle_16bit_cla",
        "colx_sub_double_c_n", "colx_mul_float_n_c_sum"}) {
    const EndedProgram time = inspect_library("time " + kernel + " --rows 70k --passes 2 --seed 7");
    EXPECT_EQ(time.status, 0) << time.output;
    EXPECT_EQ(time.output.rfind(kernel + "\n", 0), 0u) << time.output;
    EXPECT_HOLDS(time.output, "data      70,000 rows in 2 batches; ");
    EXPECT_HOLDS(time.output, ", as by plain evaluation\n");
    EXPECT_HOLDS(time.output, "\nbest      ");
    EXPECT_HOLDS(time.output, "\nmedian    ");
  }
}

TEST(InspectProgram, SaysWhatCannotBeTimed) {
  const EndedProgram unknown = inspect_library("time colx_ge_le_dict_13bits");
  EXPECT_EQ(unknown.status, 2);
  EXPECT_EQ(unknown.output,
            "colx-inspect: colx_ge_le_dict_13bits is no kernel of the table; did you mean "
            "colx_ge_le_dict_13bit? (colx-inspect list shows all)\n");
  const EndedProgram nothing = inspect_library("time colx_sum_dict_8bit");
  EXPECT_EQ(nothing.status, 2);
  EXPECT_HOLDS(nothing.output, "does nothing and returns 0: there is nothing to time");
  const EndedProgram table = inspect_library("time colx_xlate_sim_ub1");
  EXPECT_EQ(table.status, 2);
  EXPECT_HOLDS(table.output, "reads a host's translation table, which is not made here");
  const EndedProgram twin = inspect_library("time colx_eq_fixed_8bit_tz");
  EXPECT_EQ(twin.status, 2);
  EXPECT_HOLDS(twin.output, "does the work of the plain kernel under another name");
}

TEST(InspectProgram, TellsTheSizesOfANumberColumn) {
  std::string rows = "year,price\r\n";
  for (int row = 0; row < 1000; ++row)
    rows += std::to_string(1992 + row / 200) + "," + std::to_string(row % 7) + ".50\r\n";
  const RowFile file(".csv", rows);
  const EndedProgram year = inspect("encode " + file.name + " year");
  EXPECT_EQ(year.status, 0) << year.output;
  EXPECT_HOLDS(year.output, ", year: 1,000 rows, 0 NULL; integers from 1992 to 1996\n");
  EXPECT_HOLDS(year.output, "text in the file: 4,000 bytes, 4.00 a row\n");
  // 3 bits a row; 5 years of 2 bytes
  EXPECT_HOLDS(year.output,
               "dict, 3 bits                                          375"
               "             10            385      0.39      9.6 %\n");
  // five runs of a code of 3 bits and a length of 8 bits
  EXPECT_HOLDS(year.output, "dict, 3 bits, run-length                                7 ");
  EXPECT_HOLDS(year.output, "fixed, 16 bits                                      2,000 ");
  EXPECT_HOLDS(year.output, "dynp, up to 32 bits                                 3,250 ");
  EXPECT_HOLDS(year.output, "\nsmallest: dict, 3 bits, run-length\n");
  const EndedProgram price = inspect("encode " + file.name + " 2");
  EXPECT_HOLDS(price.output,
               ", price: 1,000 rows, 0 NULL; decimals with 2 places from 0.50 to 6.50");
}

TEST(InspectProgram, TellsTheSizesOfTextsAndNulls) {
  const RowFile file(".csv", "city;size\n\"Ulm; \"\"old\"\"\";3\n;1e300\nBern;\nOslo;-2.5e-3\n");
  const EndedProgram city = inspect("encode " + file.name + " city --separator ';'");
  EXPECT_EQ(city.status, 0) << city.output;
  EXPECT_HOLDS(city.output, ", city: 4 rows, 1 NULL; texts of 4 to 10 bytes\n");
  EXPECT_HOLDS(city.output, "dict, 2 bits  ");
  EXPECT_HOLDS(city.output, "row 0: a value of 10 bytes; rows have at most 8\n");
  EXPECT_HOLDS(city.output, "prefix groups                            the values differ in length");
  const EndedProgram size = inspect("encode " + file.name + " 2 --separator ';' --header");
  EXPECT_HOLDS(size.output, ", size: 4 rows, 1 NULL; doubles from -0.0025 to 1e+300\n");
  EXPECT_HOLDS(size.output, "row 1 needs more digits than a float has");
}

TEST(InspectProgram, PassesOverAByteOrderMark) {
  const RowFile file(".csv", "\xEF\xBB\xBFyear,price\n1992,5\n");
  const EndedProgram year = inspect("encode " + file.name + " year");
  EXPECT_EQ(year.status, 0) << year.output;
  EXPECT_HOLDS(year.output, ", year: 1 rows, 0 NULL; integers from 1992 to 1992\n");
  const RowFile empty(".csv", "\xEF\xBB\xBF");
  EXPECT_HOLDS(inspect("encode " + empty.name + " 1").output, ": is empty\n");
}

TEST(InspectProgram, ReadsTblFilesWithoutHeader) {
  const RowFile file(".tbl", "1|00042|abc|\n2|00043|abd|\n-3|00044|abe|\n");
  const EndedProgram code = inspect("encode " + file.name + " 2");
  EXPECT_EQ(code.status, 0) << code.output;
  EXPECT_HOLDS(code.output, ", column 2: 3 rows, 0 NULL; texts of 5 bytes\n");
  EXPECT_HOLDS(code.output, "prefix groups, 5 bytes a value                          8 ");
  const EndedProgram number = inspect("encode " + file.name + " 1");
  EXPECT_HOLDS(number.output, "integers from -3 to 2\n");
  EXPECT_HOLDS(number.output, "row 2 is negative; fixed rows are unsigned\n");
  const EndedProgram last = inspect("encode " + file.name + " 4");
  EXPECT_EQ(last.status, 2);
  EXPECT_EQ(last.output,
            "colx-inspect: " + file.name + ": has no column 4; there are numbers 1 to 3\n");
}

TEST(InspectProgram, SaysWhereAFileIsWrong) {
  const auto message_of = [](const std::string& rows, const std::string& arguments) {
    const RowFile file(".csv", rows);
    const EndedProgram encode = inspect("encode " + file.name + " " + arguments);
    EXPECT_EQ(encode.status, 2) << encode.output;
    const std::string start = "colx-inspect: " + file.name;
    EXPECT_EQ(encode.output.rfind(start, 0), 0u) << encode.output;
    return encode.output.substr(std::min(start.size(), encode.output.size()));
  };
  EXPECT_EQ(message_of("", "1"), ": is empty\n");
  EXPECT_EQ(message_of("a,b\n", "a"), ": has a header and no rows\n");
  EXPECT_EQ(message_of("a,b\n1,2\n", ""), ": say which column to encode; there are 1 a, 2 b\n");
  EXPECT_EQ(message_of("a,b\n1,2\n", "c"), ": has no column c; there are 1 a, 2 b\n");
  EXPECT_EQ(message_of("a,b\n1,2\n3\n", "b"),
            ", line 3: a row of 1 fields, column 2 is asked for\n");
  EXPECT_EQ(message_of("a,b\n1,\"2\n3\n", "b"),
            ", line 2: a field in quotes has no closing quote\n");
  EXPECT_EQ(message_of("a,b\n\"1\"2,3\n", "b"), ", line 2: text follows a closing quote\n");
  const EndedProgram missing = inspect("encode ./missing.csv 1");
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.output,
            "colx-inspect: ./missing.csv: cannot be opened: No such file or directory\n");
  EXPECT_EQ(inspect("encode . 1").status, 2);
}

TEST(InspectProgram, EndsWithStatus2OnWrongUse) {
  for (const char* arguments :
       {"", "unknown", "verify more", "time", "time colx_eq_dict_8bit --rows 0",
        "time colx_eq_dict_8bit --rows 10q", "time colx_eq_dict_8bit --rows 1g",
        "time colx_eq_dict_8bit --passes 0", "time colx_eq_dict_8bit --seed -1",
        "verify --library ''", "encode", "encode '' 1", "encode x.csv 1 --separator ab"}) {
    const EndedProgram wrong = inspect(arguments);
    EXPECT_EQ(wrong.status, 2) << arguments;
    EXPECT_EQ(wrong.output.rfind("colx-inspect: ", 0), 0u) << wrong.output;
    EXPECT_EQ(std::count(wrong.output.begin(), wrong.output.end(), '\n'), 1) << wrong.output;
  }
  EXPECT_HOLDS(inspect("time colx_eq_dict_8bit --rows 10q").output,
               "10q is not a number of rows from 1 to 200m, as 5000, 64k or 10m");
}

TEST(InspectProgram, ExplainsItself) {
  const EndedProgram help = inspect("--help");
  EXPECT_EQ(help.status, 0);
  for (const char* part : {"verify", "families", "list", "time", "encode", "--library",
                           "0 good, 1 a verification failed, 2 wrong use"})
    EXPECT_HOLDS(help.output, part);
  EXPECT_HOLDS(inspect("time --help").output, "--rows");
  EXPECT_EQ(inspect("--version").output, "colx-inspect 19.1\n");
}

TEST(InspectProgram, SaysSoWhenOutputCannotBeWritten) {
  for (const char* arguments : {"--library " COLX_LIBRARY_FILE " list", "--help", "--version"}) {
    const EndedProgram full =
        run_command(COLX_INSPECT_PROGRAM " " + std::string(arguments) + " 2>&1 >/dev/full");
    EXPECT_EQ(full.status, 2) << arguments;
    EXPECT_EQ(full.output.rfind("colx-inspect: ", 0), 0u) << full.output;
    EXPECT_HOLDS(full.output, ": No space left on device\n");
  }
}

TEST(InspectProgram, RunsTheCommandsThatTheReadmeShows) {
  std::ifstream readme(COLX_SOURCE_DIR "/README.md");
  const std::string start = "build/tools/inspect/colx-inspect ";
  int commands = 0;
  for (std::string line; std::getline(readme, line);) {
    if (line.rfind(start, 0) != 0) continue;
    ++commands;
    const std::string command =
        "cd " COLX_SOURCE_DIR " && " COLX_INSPECT_PROGRAM " " + line.substr(start.size()) + " 2>&1";
    const EndedProgram shown = run_command(command);
    EXPECT_EQ(shown.status, 0) << line << "\n" << shown.output;
  }
  EXPECT_EQ(commands, 4);
}

// On a terminal a line tells how far the work is, and it is erased at the end.
TEST(InspectProgram, ShowsProgressOnATerminal) {
  const EndedProgram time =
      test::run_on_terminal({COLX_INSPECT_PROGRAM, "--library", COLX_LIBRARY_FILE, "time",
                             "colx_decode_dict_12bit", "--rows", "1m", "--passes", "400"});
  EXPECT_EQ(time.status, 0) << time.output;
  EXPECT_HOLDS(time.output, "timing  ");
  const size_t last = time.output.rfind(" %");
  ASSERT_NE(last, std::string::npos) << time.output;
  EXPECT_NE(time.output.find("\r\x1b[K", last), std::string::npos) << time.output;
}

TEST(InspectProgram, ClearsItsProgressLineBeforeASignalEndsIt) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const EndedProgram time =
        test::run_on_terminal({COLX_INSPECT_PROGRAM, "--library", COLX_LIBRARY_FILE, "time",
                               "colx_decode_dict_12bit", "--rows", "10m", "--passes", "1000"},
                              signal);
    EXPECT_EQ(time.signal, signal);
    EXPECT_TRUE(time.output.ends_with("\r\x1b[K")) << time.output;
  }
}

}  // namespace
}  // namespace colx::inspect
