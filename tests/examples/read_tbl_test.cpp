#include "examples/star/read_tbl.h"

#include <gtest/gtest.h>

#include "tests/examples/tbl_folder.h"

namespace colx::star {
namespace {

using std::string;

// The message of reading a folder that is wrong.
string message_of(const TblFolder& folder) {
  const auto tables = read_tables(folder.path());
  return tables ? "no error" : tables.message();
}

TEST(ReadTbl, ReadsEveryFieldOfEveryTable) {
  auto tables = read_tables(small_tables);
  ASSERT_TRUE(tables) << tables.message();
  EXPECT_EQ((*tables)[TableId::lineorder].rows(), 18u);
  EXPECT_EQ((*tables)[TableId::customer].rows(), 4u);
  EXPECT_EQ((*tables)[TableId::supplier].rows(), 3u);
  EXPECT_EQ((*tables)[TableId::part].rows(), 4u);
  EXPECT_EQ((*tables)[TableId::date].rows(), 10u);
  const auto row_text = [&](TableId id, size_t row) {
    string text;
    for (size_t column = 0; column < table_schema(id).columns.size(); ++column)
      text += (*tables)[id].cell(column, row) + "|";
    return text;
  };
  EXPECT_EQ(row_text(TableId::lineorder, 3),
            "2|3|2|1204|1|19930215|2-HIGH|0|10|1105200|4287752|0|1105200|66312|3|19981230|SHIP|");
  EXPECT_EQ(row_text(TableId::customer, 2),
            "4|Customer#000000004|Zt6wq K19sVd|UNITED KI1|UNITED KINGDOM|EUROPE|33-640-155-2093|"
            "MACHINERY|");
  EXPECT_EQ(row_text(TableId::date, 5),
            "19940205|February 5, 1994|Saturday|February|1994|199402|Feb1994|7|5|36|2|6|Winter|1|"
            "0|0|0|");
}

TEST(ReadTbl, CarriageReturnsBelongToTheLineEnd) {
  auto tables = read_tables(small_tables);  // supplier.tbl has CR LF
  ASSERT_TRUE(tables) << tables.message();
  EXPECT_EQ((*tables)[TableId::supplier][s_phone].text(2), "28-935-248-5107");
  EXPECT_EQ((*tables)[TableId::customer][c_mktsegment].text(0), "BUILDING");
}

TEST(ReadTbl, TheLastLineMayEndWithoutLineFeed) {
  const TblFolder folder;
  string part = folder.text("part");
  part.pop_back();
  folder.write("part", part);
  auto tables = read_tables(folder.path());
  ASSERT_TRUE(tables) << tables.message();
  EXPECT_EQ((*tables)[TableId::part].rows(), 4u);
  EXPECT_EQ((*tables)[TableId::part][p_container].text(3), "MED DRUM");
}

TEST(ReadTbl, EqualTextsShareOneNumber) {
  auto tables = read_tables(small_tables);
  ASSERT_TRUE(tables) << tables.message();
  EXPECT_EQ((*tables)[TableId::lineorder][lo_shippriority].texts.size(), 1u);
  EXPECT_EQ((*tables)[TableId::lineorder][lo_orderpriority].texts.size(), 5u);
}

TEST(ReadTbl, AMissingFolderIsNamed) {
  const auto tables = read_tables("/nowhere/at/all");
  ASSERT_FALSE(tables);
  EXPECT_EQ(tables.message(), "/nowhere/at/all is not a directory");
}

TEST(ReadTbl, AMissingFileIsNamed) {
  const TblFolder folder;
  std::filesystem::remove(folder.file("part"));
  EXPECT_EQ(message_of(folder),
            "cannot read " + folder.file("part") + ": No such file or directory");
}

TEST(ReadTbl, AFolderInPlaceOfAFileIsNamed) {
  const TblFolder folder;
  std::filesystem::remove(folder.file("date"));
  std::filesystem::create_directory(folder.file("date"));
  EXPECT_EQ(message_of(folder), "cannot read " + folder.file("date") + ": it is a directory");
}

TEST(ReadTbl, AnEmptyFileIsNamed) {
  const TblFolder folder;
  folder.write("customer", "");
  EXPECT_EQ(message_of(folder), "cannot read " + folder.file("customer") + ": it holds no rows");
}

TEST(ReadTbl, AShortLineSaysHowManyFieldsItHas) {
  const TblFolder folder;
  folder.replace("lineorder", "REG AIR|\n2|1|", "REG AIR|\n2|1|\n2|1|");
  EXPECT_EQ(message_of(folder),
            folder.file("lineorder") +
                ", line 2: the line has 2 fields, expected 17 (lo_orderkey to lo_shipmode)");
}

TEST(ReadTbl, AFieldWithoutItsBarIsNamed) {
  const TblFolder folder;
  folder.replace("customer", "BUILDING|\n", "BUILDING\n");
  EXPECT_EQ(message_of(folder),
            folder.file("customer") + ", line 1: field 8 (c_mktsegment) is not ended by '|'");
}

TEST(ReadTbl, ALongLineSaysHowManyFieldsItHas) {
  const TblFolder folder;
  folder.replace("part", "WRAP CAN|", "WRAP CAN|7|");
  EXPECT_EQ(message_of(folder), folder.file("part") +
                                    ", line 3: the line has 10 fields, expected "
                                    "9 (p_partkey to p_container)");
}

TEST(ReadTbl, AnEmptyLineIsNotARow) {
  const TblFolder folder;
  folder.write("supplier", folder.text("supplier") + "\r\n");
  EXPECT_EQ(message_of(folder), folder.file("supplier") + ", line 4: the line is empty");
}

struct BadField {
  const char* from;
  const char* to;
  const char* reason;
};

class BadLineorderField : public testing::TestWithParam<BadField> {};

TEST_P(BadLineorderField, IsShownWithWhatWasExpected) {
  const TblFolder folder;
  folder.replace("lineorder", GetParam().from, GetParam().to);
  EXPECT_EQ(message_of(folder), folder.file("lineorder") + ", " + GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    ReadTbl, BadLineorderField,
    testing::Values(
        BadField{"|24|2162400|", "|x7|2162400|",
                 "line 1: field 9 (lo_quantity) is \"x7\", expected a whole number from 0 to "
                 "4294967295"},
        BadField{"|24|2162400|", "||2162400|",
                 "line 1: field 9 (lo_quantity) is \"\", expected a whole number from 0 to "
                 "4294967295"},
        BadField{"|24|2162400|", "|-1|2162400|",
                 "line 1: field 9 (lo_quantity) is \"-1\", expected a whole number from 0 to "
                 "4294967295"},
        BadField{"|24|2162400|", "| 24|2162400|",
                 "line 1: field 9 (lo_quantity) is \" 24\", expected a whole number from 0 to "
                 "4294967295"},
        BadField{"|24|2162400|", "|24.5|2162400|",
                 "line 1: field 9 (lo_quantity) is \"24.5\", expected a whole number from 0 to "
                 "4294967295"},
        BadField{"|24|2162400|", "|24|4294967296|",
                 "line 1: field 10 (lo_extendedprice) is \"4294967296\", expected a whole number "
                 "from 0 to 4294967295"},
        BadField{"|19931231|", "|19930229|",
                 "line 6: field 6 (lo_orderdate) is \"19930229\", expected a date as yyyymmdd"},
        BadField{"|19931231|", "|1993-12-31|",
                 "line 6: field 6 (lo_orderdate) is \"1993-12-31\", expected a date as yyyymmdd"},
        BadField{"|19931231|", "|019931231|",
                 "line 6: field 6 (lo_orderdate) is \"019931231\", expected a date as yyyymmdd"},
        BadField{"|19950601|REG AIR|", "|19950600|REG AIR|",
                 "line 1: field 16 (lo_commitdate) is \"19950600\", expected a date as yyyymmdd"},
        BadField{"|REG AIR|", "|REG\tAIR|",
                 "line 1: field 17 (lo_shipmode) is \"REG?AIR\", expected a text without control "
                 "characters"}));

TEST(ReadTbl, ATextOf255BytesIsReadAndALongerOneIsCutInTheMessage) {
  const TblFolder folder;
  folder.replace("part", "MED DRUM", string(255, 'm'));
  auto tables = read_tables(folder.path());
  ASSERT_TRUE(tables) << tables.message();
  EXPECT_EQ((*tables)[TableId::part][p_container].text(3).size(), 255u);
  folder.replace("part", string(255, 'm'), string(256, 'm'));
  EXPECT_EQ(message_of(folder), folder.file("part") + ", line 4: field 9 (p_container) is \"" +
                                    string(32, 'm') +
                                    "\"..., expected a text of at most 255 bytes");
}

TEST(ReadTbl, AKeyThatStandsTwiceIsReportedWithBothLines) {
  const TblFolder folder;
  folder.replace("customer", "\n4|", "\n2|");
  EXPECT_EQ(message_of(folder),
            folder.file("customer") + ", line 3: c_custkey 2 stands in line 2 already");
}

TEST(ReadTbl, AKeyThatItsTableDoesNotHaveIsReported) {
  const TblFolder folder;
  folder.replace("lineorder", "33|1|1|3|3|", "33|1|1|3|9|");
  EXPECT_EQ(message_of(folder),
            folder.file("lineorder") + ", line 15: lo_suppkey 9 is not in supplier.tbl");
}

TEST(ReadTbl, ADayThatTheDateTableDoesNotHaveIsReported) {
  const TblFolder folder;
  folder.replace("lineorder", "|19950601|1-URGENT|0|50|", "|19950602|1-URGENT|0|50|");
  EXPECT_EQ(message_of(folder),
            folder.file("lineorder") + ", line 18: lo_orderdate 19950602 is not in date.tbl");
}

}  // namespace
}  // namespace colx::star
