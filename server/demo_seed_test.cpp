#include "server/demo_seed.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <string>

#include "server/procedure_calls.h"
#include "server/store.h"

namespace quillorn::server {
namespace {

struct SeededStore {
  SeededStore()
      : path(std::filesystem::temp_directory_path() /
             ("quillorn-demo-seed-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()))),
        store(path) {}
  ~SeededStore() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
  // The first row's columns by name, as the client's statement gets them.
  std::map<std::string, std::string> Row(const std::string& clientSql) {
    const StoreRows rows = store.Select(RewriteProcedureCalls(clientSql));
    std::map<std::string, std::string> row;
    if (rows.Rows.empty()) return row;
    for (std::size_t i = 0; i < rows.Columns.size(); ++i) {
      const StoreCell& cell = rows.Rows[0][i];
      row[rows.Columns[i].Name] = cell.kind == StoreCell::Kind::Integer ? std::to_string(cell.integer) : cell.bytes;
    }
    return row;
  }
  std::filesystem::path path;
  ServerStore store;
};

TEST(DemoSeed, AnswersTheClientsDocumentAndRightsStatements) {
  SeededStore s;
  ASSERT_TRUE(SeedDemo(s.store));
  struct Case {
    int doc;
    const char* status;
    const char* fileExt;
  } cases[] = {{kDemoPolicyId, "N", ".docx"}, {kDemoProcedureId, "A", ".docx"}, {kDemoRegisterId, "E", ".xlsx"},
               {kDemoSlidesId, "P", ".pptx"}};
  for (const Case& c : cases) {
    auto doc = s.Row("SELECT * from VIEW_DOC(" + std::to_string(c.doc) + ")");
    EXPECT_EQ(doc["STATUS"], c.status) << c.doc;
    EXPECT_EQ(doc["FILE_EXT"], c.fileExt) << c.doc;
    EXPECT_EQ(doc["IS_CURRENT"], "Y") << c.doc;
  }
  // Rights combine the user's own and the groups': the reader may not edit.
  struct Rights {
    int user;
    const char* edit;
    const char* view;
    const char* checkout;
  } rights[] = {{kDemoAuthorId, "Y", "Y", "Y"}, {kDemoReaderId, "N", "Y", "N"}};
  for (const Rights& r : rights) {
    auto row = s.Row("select 1001 as doc_id, " + std::to_string(r.user) +
                     " as user_id, p_create, p_edit, p_delete, p_move, p_view, p_approve, p_revise, p_checkout, "
                     "p_print_unctrl, p_export, p_change_permission from get_doc_permissions(1001, " +
                     std::to_string(r.user) + ")");
    EXPECT_EQ(row["P_EDIT"], r.edit) << r.user;
    EXPECT_EQ(row["P_VIEW"], r.view) << r.user;
    EXPECT_EQ(row["P_CHECKOUT"], r.checkout) << r.user;
  }
  EXPECT_EQ(s.Row("select CODE, VAL from GET_DOC_FIELDS where CODE='Site'")["VAL"], "Head Office");
  EXPECT_EQ(s.Row("select user_id from users where login='JSMITH' and web_password='demo'")["USER_ID"], "1");
}

TEST(DemoSeed, LeavesAStoreWithTablesAlone) {
  SeededStore s;
  ASSERT_TRUE(SeedDemo(s.store));
  s.store.Execute("UPDATE DOCS SET STATUS='E' WHERE DOC_ID=1001");
  EXPECT_FALSE(SeedDemo(s.store));
  EXPECT_EQ(s.Row("select STATUS from DOCS where DOC_ID=1001")["STATUS"], "E");
  EXPECT_EQ(s.Row("select count(*) as N from Users")["N"], "2");
}

}  // namespace
}  // namespace quillorn::server
