#include "server/store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::server {
namespace {

using Kind = StoreCell::Kind;
using foundation::testing::TempFolder;

class ServerStoreTest : public ::testing::Test {
 protected:
  ServerStoreTest() : store_(folder_.Path() / "nested") {
    store_.Execute("CREATE TABLE DOCS (DOC_ID INTEGER PRIMARY KEY, DOC_NAME VARCHAR(60), STATUS CHAR(1))");
    store_.Execute("INSERT INTO DOCS VALUES (1, 'Quality manual', 'A'), (2, 'Audit plan', 'E')");
  }

  std::int64_t DocCount() { return store_.Select("SELECT COUNT(*) FROM DOCS").Rows.at(0).at(0).integer; }

  TempFolder folder_;
  ServerStore store_;
};

TEST_F(ServerStoreTest, SelectRefusesAnythingButOneReadingStatement) {
  struct Case {
    const char* sql;
    std::string_view message;
  };
  const std::vector<Case> cases = {
      {"", kNoStatement},
      {"  ;  -- nothing here", kNoStatement},
      {"INSERT INTO DOCS VALUES (3, 'x', 'E')", kNotReadOnly},
      {"CREATE TEMP TABLE T (A)", kNotReadOnly},
      {"PRAGMA user_version = 5", kNotReadOnly},
      {"ATTACH 'elsewhere.db' AS X", kNotReadOnly},
      {"BEGIN", kNotReadOnly},
      {"SELECT 1; SELECT 2", kMoreThanOneStatement},
      {"SELECT * FROM DOCS; DELETE FROM DOCS", kMoreThanOneStatement},
      {"SELECT 1; this is not SQL", kMoreThanOneStatement},
  };
  for (const auto& c : cases) {
    try {
      store_.Select(c.sql);
      ADD_FAILURE() << "accepted: " << c.sql;
    } catch (const StoreError& e) {
      EXPECT_EQ(e.what(), std::string(c.message)) << c.sql;
    }
  }
  EXPECT_EQ(DocCount(), 2);
}

TEST_F(ServerStoreTest, SelectRunsOneStatementWithTrailingNoise) {
  const std::vector<const char*> accepted = {
      "SELECT DOC_NAME FROM DOCS WHERE DOC_ID = 2",
      "SELECT DOC_NAME FROM DOCS WHERE DOC_ID = 2;",
      "  select doc_name from docs where doc_id=2 ; ; -- the client's own comment",
      "WITH RECURSIVE N(I) AS (SELECT 2) SELECT DOC_NAME FROM DOCS, N WHERE DOC_ID = N.I",
  };
  for (const char* sql : accepted) {
    const StoreRows rows = store_.Select(sql);
    ASSERT_EQ(rows.Rows.size(), 1u) << sql;
    EXPECT_EQ(rows.Rows[0].at(0).bytes, "Audit plan") << sql;
  }
}

TEST_F(ServerStoreTest, SelectGivesColumnsWithDeclaredTypesAndCellsInTheirStorageClass) {
  store_.Execute("CREATE TABLE T (I INTEGER, R DOUBLE, S VARCHAR(20), B BLOB, N DATE)");
  store_.Execute(
      "INSERT INTO T VALUES (-9007199254740993, 2.5, 'M\xC3\xBCller', X'00FF0041', NULL)");
  const StoreRows rows = store_.Select("SELECT I, R, S, B, N, I + 1 AS NEXT_I FROM T");
  ASSERT_EQ(rows.Columns.size(), 6u);
  const std::vector<std::pair<std::string, std::string>> columns = {
      {"I", "INTEGER"}, {"R", "DOUBLE"}, {"S", "VARCHAR(20)"}, {"B", "BLOB"}, {"N", "DATE"}, {"NEXT_I", ""}};
  for (std::size_t i = 0; i < columns.size(); ++i) {
    EXPECT_EQ(rows.Columns[i].Name, columns[i].first);
    EXPECT_EQ(rows.Columns[i].DeclType, columns[i].second);
  }
  ASSERT_EQ(rows.Rows.size(), 1u);
  const auto& row = rows.Rows[0];
  EXPECT_EQ(row[0].kind, Kind::Integer);
  EXPECT_EQ(row[0].integer, -9007199254740993LL);
  EXPECT_EQ(row[1].kind, Kind::Real);
  EXPECT_EQ(row[1].real, 2.5);
  EXPECT_EQ(row[2].kind, Kind::Text);
  EXPECT_EQ(row[2].bytes, "M\xC3\xBCller");
  EXPECT_EQ(row[3].kind, Kind::Blob);
  EXPECT_EQ(row[3].bytes, std::string("\x00\xFF\x00\x41", 4));
  EXPECT_EQ(row[4].kind, Kind::Null);
  EXPECT_EQ(row[5].integer, -9007199254740992LL);
}

TEST_F(ServerStoreTest, ExecuteRunsOneStatementAndCountsItsChanges) {
  struct Case {
    const char* sql;
    int changes;
  };
  const std::vector<Case> cases = {
      {"CREATE TABLE CODES (D_TYPE VARCHAR(20), CODE VARCHAR(30), VAL VARCHAR(1024))", 0},
      {"INSERT INTO CODES VALUES ('A', 'B', 'C'), ('A', 'D', 'E'), ('X', 'Y', 'Z')", 3},
      {"UPDATE CODES SET VAL = 'F' WHERE D_TYPE = 'A';", 2},
      {"SELECT * FROM CODES", 0},
      {"DELETE FROM CODES", 3},
  };
  for (const auto& c : cases) EXPECT_EQ(store_.Execute(c.sql), c.changes) << c.sql;
}

TEST_F(ServerStoreTest, ExecuteRefusesSeveralStatementsTransactionsAndAttachBeforeRunningAny) {
  struct Case {
    const char* sql;
    std::string_view message;
  };
  const std::vector<Case> cases = {
      {"", kNoStatement},
      {"INSERT INTO DOCS VALUES (3, 'x', 'E'); INSERT INTO DOCS VALUES (4, 'y', 'E')", kMoreThanOneStatement},
      {"DELETE FROM DOCS; garbage", kMoreThanOneStatement},
      {"BEGIN", kNotAllowedInExecSql},
      {"SAVEPOINT S1", kNotAllowedInExecSql},
      {"ATTACH 'elsewhere.db' AS X", kNotAllowedInExecSql},
  };
  for (const auto& c : cases) {
    try {
      store_.Execute(c.sql);
      ADD_FAILURE() << "accepted: " << c.sql;
    } catch (const StoreError& e) {
      EXPECT_EQ(e.what(), std::string(c.message)) << c.sql;
    }
  }
  EXPECT_EQ(DocCount(), 2);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path() / "nested" / "elsewhere.db"));
}

TEST_F(ServerStoreTest, FailingStatementRaisesTheDatabaseTextAndChangesNothing) {
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"SELECT * FROM NOWHERE", "no such table: NOWHERE"},
      {"INSERT INTO DOCS VALUES (1, 'same key', 'E')", "UNIQUE constraint failed: DOCS.DOC_ID"},
  };
  for (const auto& [sql, message] : cases) {
    try {
      if (std::string_view(sql).starts_with("SELECT")) store_.Select(sql);
      else store_.Execute(sql);
      ADD_FAILURE() << "accepted: " << sql;
    } catch (const StoreError& e) {
      EXPECT_EQ(e.what(), std::string(message));
    }
  }
  EXPECT_EQ(DocCount(), 2);
}

TEST(ServerStore, KeepsItsDataInTheFolderAcrossRestarts) {
  TempFolder folder;
  {
    ServerStore store(folder.Path());
    EXPECT_EQ(store.FileName(), folder.Path() / "server.db");
    store.Execute("CREATE TABLE USERS (USER_ID INTEGER, LOGIN VARCHAR(30))");
    store.Execute("INSERT INTO USERS VALUES (7, 'anna')");
  }
  ServerStore again(folder.Path());
  const StoreRows rows = again.Select("SELECT LOGIN FROM USERS WHERE USER_ID = 7");
  ASSERT_EQ(rows.Rows.size(), 1u);
  EXPECT_EQ(rows.Rows[0][0].bytes, "anna");
}

}  // namespace
}  // namespace quillorn::server
