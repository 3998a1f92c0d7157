#include "examples/star/text_streams.h"

#include <gtest/gtest.h>

#include "examples/star/generate.h"

namespace colx::star {
namespace {

struct TextStreams : testing::Test {
  host::Library library = host::Library::open(COLX_LIBRARY_FILE).value();
  host::HostServices services{library};
  Tables tables = generate_tables(0.05);

  TextStream stream_of(TableId table, std::string_view column) {
    const auto streams = store_texts(tables[table], services);
    EXPECT_TRUE(streams) << streams.message();
    for (const TextStream& stream : *streams)
      if (stream.column == column) return stream;
    ADD_FAILURE() << column << " is not stored";
    return {};
  }
};

TEST_F(TextStreams, ComeBackWholeForEveryTextColumn) {
  size_t texts = 0;
  for (const TableId id : table_ids) {
    const auto streams = store_texts(tables[id], services);
    ASSERT_TRUE(streams) << streams.message();
    for (const TextStream& stream : *streams)
      EXPECT_FALSE(stream.wrong) << stream.column << ": " << *stream.wrong;
    texts += streams->size();
  }
  EXPECT_EQ(texts, 3u + 7 + 6 + 7 + 5);
  EXPECT_EQ(services.counters().scratch_blocks, 0u);
}

TEST_F(TextStreams, AreSmallerThanTheirTexts) {
  const TextStream names = stream_of(TableId::customer, "c_name");
  EXPECT_EQ(names.form, "wpak dictionary");
  EXPECT_EQ(names.texts, 1500u);
  EXPECT_LT(names.stored_bytes, names.plain_bytes / 3);
  const TextStream parts = stream_of(TableId::part, "p_name");
  EXPECT_LT(parts.stored_bytes, parts.plain_bytes);
  // Five regions are not worth a table.
  EXPECT_EQ(stream_of(TableId::customer, "c_region").form, "plain dictionary");
}

TEST_F(TextStreams, KeepRisingDigitsInPrefixGroups) {
  for (const auto& [id, column] : {std::pair{TableId::customer, size_t{c_name}},
                                   {TableId::supplier, size_t{s_name}},
                                   {TableId::date, size_t{d_datekey}}}) {
    const auto stream = store_digits(tables[id], column, library);
    ASSERT_TRUE(stream) << stream.message();
    ASSERT_TRUE(*stream);
    EXPECT_FALSE((*stream)->wrong);
    EXPECT_EQ((*stream)->plain_bytes, 8u * tables[id].rows());
    EXPECT_LT((*stream)->stored_bytes, (*stream)->plain_bytes / 2);
  }
}

TEST_F(TextStreams, LeaveCellsAloneThatDoNotEndInDigits) {
  const auto phones = store_digits(tables[TableId::customer], c_phone, library);
  ASSERT_TRUE(phones) << phones.message();
  EXPECT_FALSE(*phones);
}

TEST_F(TextStreams, AreAllRightInTheDemo) {
  const auto right = run_text_streams(tables, library, services);
  ASSERT_TRUE(right) << right.message();
  EXPECT_TRUE(*right);
}

}  // namespace
}  // namespace colx::star
