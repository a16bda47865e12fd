#include "data/sql_database.h"

#include <gtest/gtest.h>

#include "foundation/datetime.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;
using K = Variant::Kind;

class MemoryDatabase : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.FileName = ":memory:";
    db_.Open(true);
    db_.Execute("CREATE TABLE T (I INTEGER, S VARCHAR(20), B BOOLEAN, D DATETIME, DT DATE, F FLOAT, X BLOB, M MEMO)");
  }
  Database db_{"MEMORY"};
};

TEST_F(MemoryDatabase, ValuesComeBackAsTheirColumnsDeclareThem) {
  const double stamp = foundation::EncodeDateTime(2021, 1, 31, 10, 30, 15, 0);
  const std::string blob("a\0b", 3);
  db_.Execute("insert into T values (?, ?, ?, ?, ?, ?, ?, ?)",
              std::vector<Variant>{std::int64_t{5000000000}, "text", true, Variant::FromDateTime(stamp),
                                   Variant::FromDateTime(foundation::EncodeDate(2024, 3, 31)), 2.5, blob, "memo"});
  db_.Execute("insert into T (I, B) values (-7, false)");
  const ResultSet r = db_.Query("select * from T order by I");
  ASSERT_EQ(r.rows.size(), 2u);
  const auto& small = r.rows[0];
  EXPECT_EQ(small[0], Variant(std::int32_t{-7}));
  EXPECT_EQ(small[2], Variant(false));
  EXPECT_TRUE(small[3].IsNull());
  const auto& row = r.rows[1];
  EXPECT_EQ(row[0].kind(), K::Int64);
  EXPECT_EQ(row[0].AsInt64(), 5000000000);
  EXPECT_EQ(row[1], Variant("text"));
  EXPECT_EQ(row[2], Variant(true));
  ASSERT_EQ(row[3].kind(), K::DateTime);
  EXPECT_DOUBLE_EQ(row[3].AsDateTime(), stamp);
  EXPECT_EQ(row[4], Variant::FromDateTime(foundation::EncodeDate(2024, 3, 31)));
  EXPECT_EQ(row[5], Variant(2.5));
  EXPECT_EQ(row[6].AsString(), blob);
  EXPECT_EQ(row[7], Variant("memo"));
  // Dates are stored as numbers, so that date arithmetic works in SQL.
  EXPECT_EQ(db_.Query("select typeof(D) from T where I>0").rows[0][0], Variant("real"));
  EXPECT_EQ(db_.Query("select typeof(B) from T where I>0").rows[0][0], Variant("integer"));
}

TEST_F(MemoryDatabase, ParametersByPositionAndByName) {
  db_.Execute("insert into T (I, S) values (:id, :name)", NamedParams{{"id", std::int32_t{1}}, {":name", "one"}});
  db_.Execute("insert into T (I, S) values (?, ?)", std::vector<Variant>{std::int32_t{2}, "two"});
  EXPECT_EQ(db_.Query("select S from T where I=:i", NamedParams{{"i", std::int32_t{1}}}).rows[0][0], Variant("one"));
  EXPECT_EQ(db_.Query("select S from T where I=?", std::vector<Variant>{std::int32_t{2}}).rows[0][0], Variant("two"));
  EXPECT_THROW(db_.Query("select S from T where I=:i", NamedParams{{"nope", std::int32_t{1}}}), SqlError);
  // A failed bind leaves nothing behind for the next use of the same text.
  const ResultSet r = db_.Query("select count(*) from T where I=:i", NamedParams{});
  EXPECT_EQ(r.rows[0][0], Variant(std::int32_t{0}));
}

TEST_F(MemoryDatabase, TheSameTextIsPreparedOnce) {
  const size_t before = db_.CachedStatementCount();
  for (int i = 0; i < 50; ++i) {
    db_.Execute("insert into T (I) values (?)", std::vector<Variant>{std::int32_t{i}});
  }
  EXPECT_EQ(db_.CachedStatementCount(), before + 1);
  EXPECT_EQ(db_.Query("select count(*) from T").rows[0][0], Variant(std::int32_t{50}));
}

TEST_F(MemoryDatabase, FailuresRaiseWithTheStatement) {
  try {
    db_.Execute("insert into NOWHERE values (1)");
    FAIL() << "no error";
  } catch (const SqlError& e) {
    EXPECT_EQ(e.sql(), "insert into NOWHERE values (1)");
    EXPECT_NE(std::string(e.what()).find("NOWHERE"), std::string::npos);
  }
  EXPECT_THROW(db_.Execute("insert into T (I) values (1); delete from T"), SqlError);
  EXPECT_EQ(db_.Query("select count(*) from T").rows[0][0], Variant(std::int32_t{0}));
}

TEST(FileDatabase, MissingFileIsNotCreatedUnlessAsked) {
  TempFolder folder;
  Database db("CacheDB");
  db.FileName = folder.Dir() + "cache.dat";
  EXPECT_THROW(db.Open(), SqlError);
  EXPECT_FALSE(std::filesystem::exists(db.FileName));
  db.Open(true);
  EXPECT_TRUE(db.Connected());
  EXPECT_EQ(db.Query("PRAGMA journal_mode").rows[0][0], Variant("wal"));
}

TEST(FileDatabase, ATransactionCommitsARunWhoseFailingStatementIsUndoneAlone) {
  TempFolder folder;
  Database db("CacheDB"), other("CacheDB");
  db.FileName = other.FileName = folder.Dir() + "cache.dat";
  db.Open(true);
  other.Open();
  db.Execute("CREATE TABLE T (K INTEGER PRIMARY KEY, V VARCHAR(10))");
  auto count = [&other] { return other.Query("select count(*) from T").rows[0][0].AsInt(); };
  {
    Transaction run(db);
    EXPECT_FALSE(db.AutoCommit());
    db.Execute("insert into T values (1, 'a')");
    EXPECT_THROW(db.Execute("insert into T values (1, 'again')"), SqlError);
    db.Execute("insert into T values (2, 'b')");
    {
      Transaction inner(db);  // inside the open one: nothing of its own
      db.Execute("insert into T values (3, 'c')");
      inner.Commit();
    }
    EXPECT_FALSE(db.AutoCommit());
    EXPECT_EQ(count(), 0);  // another process sees nothing before the commit
    run.Commit();
  }
  EXPECT_TRUE(db.AutoCommit());
  EXPECT_EQ(count(), 3);
  {
    Transaction dropped(db);
    db.Execute("insert into T values (4, 'd')");
  }
  EXPECT_TRUE(db.AutoCommit());
  EXPECT_EQ(count(), 3);
}

TEST(FileDatabase, GarbageFailsToOpen) {
  TempFolder folder;
  foundation::testing::WriteAll(folder.Path() / "cache.dat", std::string(4096, 'x'));
  Database db("CacheDB");
  db.FileName = folder.Dir() + "cache.dat";
  EXPECT_THROW(db.Open(), SqlError);
  EXPECT_FALSE(db.Connected());
}

}  // namespace
}  // namespace quillorn::data
