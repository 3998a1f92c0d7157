// store_host.h: the demo's stored tables, with the plain evaluation beside them, for tests.
#pragma once

#include <gtest/gtest.h>

#include <utility>

#include "examples/star/generate.h"
#include "examples/star/plain_query.h"
#include "examples/star/star_run.h"
#include "tests/examples/star_host.h"

namespace colx::star {

class StoreHost {
 public:
  explicit StoreHost(Tables tables)
      : tables_(std::move(tables)),
        library_(host::Library::open(COLX_LIBRARY_FILE).value()),
        services_(library_),
        store_(StarStore::encode(tables_, library_, services_).value()),
        plain_(tables_) {}

  const StarStore& store() const { return store_; }
  const PlainStar& plain() const { return plain_; }
  const Tables& tables() const { return tables_; }
  Engine engine() {
    return {library_, services_, store_.table(TableId::lineorder), tables_[TableId::date]};
  }

  // The engine's answer on so many threads is the plain one.
  void expect_plain_answer(const StarQuery& query, unsigned threads) {
    const auto found = answer(store_, query, threads);
    ASSERT_TRUE(found) << query.name << ": " << found.message();
    EXPECT_EQ(difference(*found, plain_.answer(query)), std::nullopt)
        << query.name << " on " << threads << " threads";
  }

 private:
  Tables tables_;
  host::Library library_;
  host::HostServices services_;
  StarStore store_;
  PlainStar plain_;
};

// 180,000 lines: two full chunks and a part of one.
inline StoreHost& three_chunks() {
  static StoreHost host(generate_tables(0.03));
  return host;
}

}  // namespace colx::star
