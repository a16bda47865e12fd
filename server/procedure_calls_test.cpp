#include "server/procedure_calls.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "server/store.h"

namespace quillorn::server {
namespace {

using foundation::testing::TempFolder;

// The rights statement as the client sends it for one document and user.
std::string ClientRightsStatement(int doc, int user) {
  const std::string d = std::to_string(doc), u = std::to_string(user);
  return "select " + d + " as doc_id, " + u +
         " as user_id, p_create, p_edit, p_delete, p_move, p_view, p_approve, p_revise, p_checkout, "
         "p_print_unctrl, p_export, p_change_permission from get_doc_permissions(" +
         d + ", " + u + ")";
}

std::string RightsColumns() {
  std::string columns;
  for (std::string_view right : kDocRightsColumns) columns += std::string(", ") + std::string(right) + " CHAR(1)";
  return columns;
}

class ProcedureCalls : public ::testing::Test {
 protected:
  void SetUp() override {
    store_.Execute("CREATE TABLE DOCS (DOC_ID INTEGER, DOC_NAME VARCHAR(512), STATUS CHAR(1), NOTES BLOB)");
    store_.Execute("CREATE TABLE Users (USER_ID INTEGER, LOGIN VARCHAR(31)" + RightsColumns() + ")");
    store_.Execute("CREATE TABLE GROUPS (GROUP_ID INTEGER, GROUP_NAME VARCHAR(30)" + RightsColumns() + ")");
    store_.Execute("CREATE TABLE USER_GROUP_LINKS (USER_ID INTEGER, GROUP_ID INTEGER)");
  }
  // Each column of the statement's only row by name; empty when no row came.
  std::map<std::string, std::string> OnlyRow(const std::string& sql) {
    const StoreRows rows = store_.Select(RewriteProcedureCalls(sql));
    EXPECT_LE(rows.Rows.size(), 1u) << sql;
    std::map<std::string, std::string> out;
    if (rows.Rows.empty()) return out;
    for (std::size_t c = 0; c < rows.Columns.size(); ++c) {
      const StoreCell& cell = rows.Rows[0][c];
      out[rows.Columns[c].Name] =
          cell.kind == StoreCell::Kind::Integer ? std::to_string(cell.integer)
          : cell.kind == StoreCell::Kind::Null  ? "<null>"
                                                : cell.bytes;
    }
    return out;
  }

  TempFolder folder_;
  ServerStore store_{folder_.Path()};
};

TEST_F(ProcedureCalls, ViewDocGivesTheOneDocumentWithItsDeclaredTypes) {
  store_.Execute("INSERT INTO DOCS VALUES (5, 'Manual', 'A', NULL), (6, 'Plan', 'E', x'00FF')");
  struct Case {
    std::string sql;
    std::map<std::string, std::string> row;
  };
  const std::vector<Case> cases = {
      {"SELECT * from VIEW_DOC(5)", {{"DOC_ID", "5"}, {"DOC_NAME", "Manual"}, {"STATUS", "A"}, {"NOTES", "<null>"}}},
      {"select DOC_NAME from view_doc ( 6 )", {{"DOC_NAME", "Plan"}}},
      {"SELECT * from VIEW_DOC(7)", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.sql);
    EXPECT_EQ(OnlyRow(c.sql), c.row);
  }
  // The data set's field types come from the declared columns, as for a table.
  const StoreRows rows = store_.Select(RewriteProcedureCalls("SELECT * from VIEW_DOC(6)"));
  ASSERT_EQ(rows.Columns.size(), 4u);
  EXPECT_EQ(rows.Columns[1].DeclType, "VARCHAR(512)");
  EXPECT_EQ(rows.Columns[3].DeclType, "BLOB");
}

TEST_F(ProcedureCalls, DocPermissionsCombineTheUsersAndTheGroupsRights) {
  store_.Execute("INSERT INTO Users (USER_ID, LOGIN, P_VIEW, P_EDIT, P_APPROVE) VALUES (3, 'ann', 'Y', 'N', NULL)");
  store_.Execute("INSERT INTO Users (USER_ID, LOGIN) VALUES (4, 'bob')");
  store_.Execute("INSERT INTO GROUPS (GROUP_ID, P_APPROVE, P_EXPORT) VALUES (1, 'Y', 'N'), (2, 'N', 'Y')");
  store_.Execute("INSERT INTO GROUPS (GROUP_ID, P_CHANGE_PERMISSION) VALUES (3, 'Y')");
  store_.Execute("INSERT INTO USER_GROUP_LINKS VALUES (3, 1), (3, 2), (4, 3)");
  struct Case {
    int doc, user;
    std::vector<std::string> yes;  // every other right is 'N'
    bool row = true;
  };
  const std::vector<Case> cases = {
      {5, 3, {"P_VIEW", "P_APPROVE", "P_EXPORT"}},
      {9, 4, {"P_CHANGE_PERMISSION"}},
      {5, 8, {}, false},  // no such user: no row
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.user);
    const auto row = OnlyRow(ClientRightsStatement(c.doc, c.user));
    if (!c.row) {
      EXPECT_TRUE(row.empty());
      continue;
    }
    std::map<std::string, std::string> want{{"doc_id", std::to_string(c.doc)}, {"user_id", std::to_string(c.user)}};
    // The rights keep the procedure's names; the client finds fields by name in any case.
    for (std::string_view right : kDocRightsColumns) {
      const std::string name(right);
      want[name] = "N";
      for (const auto& y : c.yes) {
        if (y == name) want[name] = "Y";
      }
    }
    EXPECT_EQ(row, want);
  }
}

TEST(ProcedureCallRewrite, LeavesEverythingButTheTwoCallsAsItStands) {
  const std::vector<std::string> unchanged = {
      "select * from DOCS where DOC_NAME = 'VIEW_DOC(5)'",
      "select \"get_doc_permissions(1, 2)\" from T",
      "select * from MY_VIEW_DOC(5)",
      "select * from VIEW_DOCS(5)",
      "select * from VIEW_DOC(x)",
      "select * from get_doc_permissions(1)",
      "select * from get_doc_permissions(1, 2",
      "select 'it''s VIEW_DOC(1)' from T",
      "SELECT * from Users where coalesce(IS_WEB_USER, 'N')='N'",
  };
  for (const std::string& sql : unchanged) EXPECT_EQ(RewriteProcedureCalls(sql), sql);
  // A call outside quotes is rewritten even next to a quoted one.
  const std::string both = RewriteProcedureCalls("select 'VIEW_DOC(1)', * from VIEW_DOC(2)");
  EXPECT_EQ(both.rfind("select 'VIEW_DOC(1)', * from (", 0), 0u) << both;
  EXPECT_NE(both.find("DOC_ID = 2"), std::string::npos) << both;
}

}  // namespace
}  // namespace quillorn::server
