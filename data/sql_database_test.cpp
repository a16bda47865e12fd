#include "data/sql_database.h"

#include <gtest/gtest.h>

#include "foundation/datetime.h"
#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;

TEST(Database, ValuesComeBackAsTheirColumnsDeclareThemAndEachTextIsPreparedOnce) {
  Database db("MEMORY");
  db.FileName = ":memory:";
  db.Open(true);
  db.Execute("CREATE TABLE T (I INTEGER, S VARCHAR(20), B BOOLEAN, D DATETIME, F FLOAT, X BLOB, M MEMO)");
  const double stamp = foundation::EncodeDateTime(2021, 1, 31, 10, 30, 15, 0);
  const std::string blob("a\0b", 3);
  db.Execute("insert into T values (:i, :s, :b, :d, :f, :x, :m)",
             NamedParams{{"i", std::int64_t{5000000000}}, {":s", "text"}, {"b", true},
                         {"d", Variant::FromDateTime(stamp)}, {"f", 2.5}, {"x", blob}, {"m", "memo"}});
  for (int i = 0; i < 3; ++i) db.Execute("insert into T (I, B) values (?, false)", std::vector<Variant>{i});
  const std::size_t prepared = db.CachedStatementCount();
  db.Execute("insert into T (I, B) values (?, false)", std::vector<Variant>{-7});
  EXPECT_EQ(db.CachedStatementCount(), prepared);
  const ResultSet r = db.Query("select * from T order by I desc");
  ASSERT_EQ(r.rows.size(), 5u);
  std::vector<Variant> first = r.rows[0];
  EXPECT_EQ(first[5].AsString(), blob);
  first.erase(first.begin() + 5);
  EXPECT_EQ(first, (std::vector<Variant>{std::int64_t{5000000000}, "text", true, Variant::FromDateTime(stamp), 2.5,
                                         "memo"}));
  EXPECT_EQ(r.rows[4][0], Variant(std::int32_t{-7}));
  EXPECT_EQ(r.rows[4][2], Variant(false));
  // Dates and flags are stored as numbers, so that their arithmetic works in SQL.
  EXPECT_EQ(db.Query("select typeof(D) || typeof(B) from T where I>:n", NamedParams{{"n", 3}}).rows[0][0],
            Variant("realinteger"));
  try {
    db.Query("select S from T where I=:i", NamedParams{{"nope", std::int32_t{1}}});
    FAIL() << "no error";
  } catch (const SqlError& e) {
    EXPECT_EQ(e.sql(), "select S from T where I=:i");
  }
  EXPECT_THROW(db.Execute("insert into T (I) values (1); delete from T"), SqlError);
  EXPECT_EQ(db.Query("select count(*) from T").rows[0][0], Variant(std::int32_t{5}));
}

TEST(Database, AFileIsMadeOnlyWhenAskedAndATransactionCommitsARunWhoseFailingStatementIsUndoneAlone) {
  TempFolder folder;
  foundation::testing::WriteAll(folder.Path() / "garbage.dat", std::string(4096, 'x'));
  Database db("CacheDB"), other("CacheDB");
  for (const char* name : {"cache.dat", "garbage.dat"}) {
    db.FileName = folder.Dir() + name;
    EXPECT_THROW(db.Open(), SqlError) << name;
    EXPECT_FALSE(db.Connected());
  }
  db.FileName = other.FileName = folder.Dir() + "cache.dat";
  db.Open(true);
  other.Open();
  EXPECT_EQ(db.Query("PRAGMA journal_mode").rows[0][0], Variant("wal"));
  db.Execute("CREATE TABLE T (K INTEGER PRIMARY KEY, V VARCHAR(10))");
  auto count = [&other] { return other.Query("select count(*) from T").rows[0][0].AsInt(); };
  {
    Transaction run(db);
    db.Execute("insert into T values (1, 'a')");
    EXPECT_THROW(db.Execute("insert into T values (1, 'again')"), SqlError);
    {
      Transaction inner(db);  // inside the open one: nothing of its own
      db.Execute("insert into T values (2, 'b')");
      inner.Commit();
    }
    EXPECT_FALSE(db.AutoCommit());
    EXPECT_EQ(count(), 0);  // another process sees nothing before the commit
    run.Commit();
  }
  EXPECT_EQ(count(), 2);
  {
    Transaction dropped(db);
    db.Execute("insert into T values (4, 'd')");
  }
  EXPECT_TRUE(db.AutoCommit());
  EXPECT_EQ(count(), 2);
}

}  // namespace
}  // namespace quillorn::data
