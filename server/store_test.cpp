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

// A data folder whose database cannot be opened stops the server with the reason.
TEST(ServerStore, ADatabaseThatCannotBeOpenedSaysWhy) {
  for (const bool asFolder : {true, false}) {
    TempFolder folder;
    if (asFolder) std::filesystem::create_directories(folder.Path() / "server.db");
    else foundation::testing::WriteAll(folder.Path() / "server.db", std::string(4096, 'x'));
    try {
      ServerStore store(folder.Path());
      ADD_FAILURE() << "opened " << (asFolder ? "a folder" : "a file of no database");
    } catch (const StoreError& e) {
      EXPECT_TRUE(std::string(e.what()).starts_with("Cannot open ")) << e.what();
    }
  }
}

// "select" runs one reading statement, "execsql" one statement outside any transaction;
// whatever is refused, nothing of it runs, and the database's own text says why a statement failed.
TEST_F(ServerStoreTest, RefusesWhatItMustNotRunBeforeRunningAny) {
  struct Case {
    bool execute;
    const char* sql;
    std::string_view message;
  };
  const std::vector<Case> cases = {
      {.execute = false, .sql = "  ;  -- nothing here", .message = kNoStatement},
      {.execute = false, .sql = "INSERT INTO DOCS VALUES (3, 'x', 'E')", .message = kNotReadOnly},
      {.execute = false, .sql = "ATTACH 'elsewhere.db' AS X", .message = kNotReadOnly},
      {.execute = false, .sql = "SELECT * FROM DOCS; DELETE FROM DOCS", .message = kMoreThanOneStatement},
      {.execute = false, .sql = "SELECT 1; this is not SQL", .message = kMoreThanOneStatement},
      {.execute = false, .sql = "SELECT * FROM NOWHERE", .message = "no such table: NOWHERE"},
      {.execute = true, .sql = "", .message = kNoStatement},
      {.execute = true, .sql = "DELETE FROM DOCS; DELETE FROM DOCS", .message = kMoreThanOneStatement},
      {.execute = true, .sql = "BEGIN", .message = kNotAllowedInExecSql},
      {.execute = true, .sql = "SAVEPOINT S1", .message = kNotAllowedInExecSql},
      {.execute = true, .sql = "ATTACH 'elsewhere.db' AS X", .message = kNotAllowedInExecSql},
      {.execute = true, .sql = "INSERT INTO DOCS VALUES (1, 'same key', 'E')", .message = "UNIQUE constraint failed: DOCS.DOC_ID"},
  };
  for (const auto& c : cases) {
    try {
      if (c.execute) store_.Execute(c.sql);
      else store_.Select(c.sql);
      ADD_FAILURE() << "accepted: " << c.sql;
    } catch (const StoreError& e) {
      EXPECT_EQ(e.what(), std::string(c.message)) << c.sql;
    }
  }
  EXPECT_EQ(DocCount(), 2);
  EXPECT_FALSE(std::filesystem::exists(folder_.Path() / "nested" / "elsewhere.db"));
}

TEST_F(ServerStoreTest, SelectRunsOneStatementWithTrailingNoise) {
  const std::vector<const char*> accepted = {
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
  store_.Execute("INSERT INTO T VALUES (-9007199254740993, 2.5, 'M\xC3\xBCller', X'00FF0041', NULL)");
  const StoreRows rows = store_.Select("SELECT I, R, S, B, N, I + 1 AS NEXT_I FROM T");
  const std::vector<StoreColumn> columns = {{"I", "INTEGER"}, {"R", "DOUBLE"}, {"S", "VARCHAR(20)"},
                                            {"B", "BLOB"},    {"N", "DATE"},   {"NEXT_I", ""}};
  const std::vector<StoreCell> cells = {{Kind::Integer, -9007199254740993LL, 0, {}}, {Kind::Real, 0, 2.5, {}},
                                        {Kind::Text, 0, 0, "M\xC3\xBCller"}, {Kind::Blob, 0, 0, std::string("\x00\xFF\x00\x41", 4)},
                                        {Kind::Null, 0, 0, {}}, {Kind::Integer, -9007199254740992LL, 0, {}}};
  ASSERT_EQ(rows.Columns.size(), columns.size());
  ASSERT_EQ(rows.Rows.size(), 1u);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    EXPECT_EQ(rows.Columns[i].Name, columns[i].Name);
    EXPECT_EQ(rows.Columns[i].DeclType, columns[i].DeclType);
    const StoreCell& cell = rows.Rows[0][i];
    EXPECT_EQ(cell.kind, cells[i].kind) << i;
    EXPECT_EQ(cell.integer, cells[i].integer) << i;
    EXPECT_EQ(cell.real, cells[i].real) << i;
    EXPECT_EQ(cell.bytes, cells[i].bytes) << i;
  }
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
  };
  for (const auto& c : cases) EXPECT_EQ(store_.Execute(c.sql), c.changes) << c.sql;
}

}  // namespace
}  // namespace quillorn::server
