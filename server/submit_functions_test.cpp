#include "server/submit_functions.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "transport/rpc_dataset.h"

namespace quillorn::server {
namespace {

using transport::TRpcFieldTypes;
using transport::TRpcValue;
using foundation::testing::TempFolder;

// A row of the record: name and value pairs; a field left out is null.
using Row = std::vector<std::pair<std::string, TRpcValue>>;

// A change record as the client's monitor writes it, over the given fields.
TRpcValue Record(const std::vector<std::pair<std::string, TRpcFieldTypes>>& fields, const std::vector<int>& actions,
                 const std::vector<Row>& rows) {
  auto record = std::make_unique<transport::TRpcArray>();
  auto codes = std::make_unique<transport::TRpcArray>();
  for (int a : actions) codes->Append(transport::IntegerValue(a));
  auto set = std::make_unique<transport::TRpcDataSet>();
  for (const auto& [name, type] : fields) set->AddField(name, type);
  for (const Row& row : rows) {
    auto& out = set->AppendRow();
    for (const auto& [name, value] : row) out.Set(name, value);
  }
  record->Append(std::move(codes));
  record->Append(std::move(set));
  return TRpcValue(std::move(record));
}

TRpcValue I(std::int32_t v) { return transport::IntegerValue(v); }
TRpcValue T(const std::string& v) { return transport::TextValue(v); }

// Every cell of the answer as text, "," after each cell and ";" after each row.
std::string Dump(ServerStore& store, const std::string& sql) {
  std::string out;
  for (const auto& row : store.Select(sql).Rows) {
    for (const auto& cell : row) {
      out += cell.kind == StoreCell::Kind::Null      ? "null"
             : cell.kind == StoreCell::Kind::Integer ? std::to_string(cell.integer)
                                                     : cell.bytes;
      out += ",";
    }
    out += ";";
  }
  return out;
}

class SubmitTest : public ::testing::Test {
 protected:
  SubmitTest() : store_(folder_.Path()) {
    store_.Execute("CREATE TABLE DOCS (DOC_ID INTEGER, DOC_NAME VARCHAR(60), STATUS CHAR(1), NOTES BLOB)");
    store_.Execute("INSERT INTO DOCS (DOC_ID, DOC_NAME, STATUS) VALUES (1, 'Manual', 'A'), (2, 'Plan', 'E')");
    store_.Execute("CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))");
    store_.Execute("INSERT INTO CODES VALUES ('DOC_FIELD', 'Site', 'North'), ('DOC_FIELD', 'Site', 'North')");
  }
  std::string Rows(const std::string& sql) { return Dump(store_, sql); }
  TempFolder folder_;
  ServerStore store_;
};

const std::vector<std::pair<std::string, TRpcFieldTypes>> kDocFields = {
    {"DOC_ID", TRpcFieldTypes::ft_Integer},
    {"DOC_NAME", TRpcFieldTypes::ft_String},
    {"STATUS", TRpcFieldTypes::ft_String},
    {"DOC_PATH", TRpcFieldTypes::ft_String}};  // the client's own: not a column here

TEST_F(SubmitTest, AppliesEachActionByKey) {
  struct Case {
    const char* name;
    std::vector<int> actions;
    std::vector<Row> rows;
    std::string docs;
    ApplyCounts counts;
  };
  const std::vector<Case> cases = {
      {"insert", {1}, {{{"DOC_ID", I(3)}, {"DOC_NAME", T("New")}, {"DOC_PATH", T("x")}}},
       "1,Manual,A,;2,Plan,E,;3,New,null,;", {1, 0, 0}},
      {"update found by the old key, fields left out become null",
       {2}, {{{"DOC_ID", I(2)}, {"DOC_NAME", T("Plan")}, {"STATUS", T("E")}}, {{"DOC_ID", I(2)}, {"DOC_NAME", T("It's")}}},
       "1,Manual,A,;2,It's,null,;", {0, 1, 0}},
      {"a key that changes", {2}, {{{"DOC_ID", I(1)}}, {{"DOC_ID", I(9)}, {"STATUS", T("C")}}},
       "2,Plan,E,;9,null,C,;", {0, 1, 0}},
      {"delete", {3}, {{{"DOC_ID", I(1)}, {"DOC_NAME", T("Manual")}}}, "2,Plan,E,;", {0, 0, 1}},
      {"an update of a row the store lacks inserts it", {2}, {{{"DOC_ID", I(5)}}, {{"DOC_ID", I(5)}, {"STATUS", T("W")}}},
       "1,Manual,A,;2,Plan,E,;5,null,W,;", {0, 1, 0}},
      {"an insert of a key that exists updates", {1}, {{{"DOC_ID", I(1)}, {"STATUS", T("E")}}},
       "1,null,E,;2,Plan,E,;", {1, 0, 0}},
      {"in order", {1, 2, 3}, {{{"DOC_ID", I(4)}}, {{"DOC_ID", I(4)}}, {{"DOC_ID", I(4)}, {"STATUS", T("A")}},
                               {{"DOC_ID", I(2)}}},
       "1,Manual,A,;4,null,A,;", {1, 1, 1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempFolder folder;
    ServerStore store(folder.Path());
    store.Execute("CREATE TABLE DOCS (DOC_ID INTEGER, DOC_NAME VARCHAR(60), STATUS CHAR(1))");
    store.Execute("INSERT INTO DOCS VALUES (1, 'Manual', 'A'), (2, 'Plan', 'E')");
    const TRpcValue record = Record(kDocFields, c.actions, c.rows);
    EXPECT_EQ(ApplyChangeRecord(store, "DOCS", "DOC_ID", record.Get()), c.counts);
    EXPECT_EQ(Dump(store, "SELECT * FROM DOCS ORDER BY DOC_ID"), c.docs);
  }
}

TEST_F(SubmitTest, DocumentFieldsAreDocFieldCodesAndOnlyOneOfEqualRowsIsHit) {
  const std::vector<std::pair<std::string, TRpcFieldTypes>> fields = {
      {"CODE", TRpcFieldTypes::ft_String}, {"VAL", TRpcFieldTypes::ft_String}, {"VAL3", TRpcFieldTypes::ft_Integer}};
  const TRpcValue record =
      Record(fields, {2, 1, 3},
             {{{"CODE", T("Site")}, {"VAL", T("North")}, {"VAL3", I(1)}},
              {{"CODE", T("Site")}, {"VAL", T("South")}, {"VAL3", I(1)}},
              {{"CODE", T("Owner")}, {"VAL", T("QA")}},
              {{"CODE", T("Site")}, {"VAL", T("North")}}});
  EXPECT_EQ(ApplyChangeRecord(store_, "CODES", "", record.Get()), (ApplyCounts{1, 1, 1}));
  EXPECT_EQ(Rows("SELECT D_TYPE, CODE, VAL FROM CODES ORDER BY CODE, VAL"),
            "DOC_FIELD,Owner,QA,;DOC_FIELD,Site,South,;");
}

TEST_F(SubmitTest, BlobsKeepEveryByte) {
  const std::string bytes("a\0b'\xFF", 5);
  const TRpcValue record = Record({{"DOC_ID", TRpcFieldTypes::ft_Integer}, {"NOTES", TRpcFieldTypes::ft_Blob}}, {1},
                                  {{{"DOC_ID", I(7)}, {"NOTES", transport::MakeValue<transport::TRpcByteStream>(bytes)}}});
  ApplyChangeRecord(store_, "DOCS", "DOC_ID", record.Get());
  const auto rows = store_.Select("SELECT NOTES FROM DOCS WHERE DOC_ID=7").Rows;
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0][0].kind, StoreCell::Kind::Blob);
  EXPECT_EQ(rows[0][0].bytes, bytes);
}

TEST_F(SubmitTest, RefusesWhatCannotBeApplied) {
  const TRpcValue ok = Record(kDocFields, {1}, {{{"DOC_ID", I(3)}}});
  struct Case {
    const char* name;
    const char* table;
    const char* keys;
    TRpcValue record;
  };
  const std::vector<Case> cases = {
      {"not a record", "DOCS", "DOC_ID", T("AR=2;")},
      {"fewer rows than actions", "DOCS", "DOC_ID", Record(kDocFields, {2}, {{{"DOC_ID", I(1)}}})},
      {"unknown action", "DOCS", "DOC_ID", Record(kDocFields, {4}, {{{"DOC_ID", I(1)}}})},
      {"a key that is no field", "DOCS", "DOC_NO", ok},
      {"a table name that is a statement", "DOCS; DROP TABLE CODES", "DOC_ID", ok},
      {"no such table", "FORMS", "DOC_NO", ok},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_THROW(ApplyChangeRecord(store_, c.table, c.keys, c.record.Get()), StoreError);
  }
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM DOCS"), "2,;");
  EXPECT_EQ(Rows("SELECT COUNT(*) FROM CODES"), "2,;");
}

TEST_F(SubmitTest, SubmitAnswersTheLognameAndSendfileKeepsTheFile) {
  FunctionTable functions;
  RegisterSubmitFunctions(functions, store_);
  transport::TRpcFunctionInfo submit("submit");
  submit.SetInteger("user_id", 5);
  submit.SetText("table", "DOCS");
  submit.SetText("keyfields", "DOC_ID");
  submit.SetText("logname", "DOCS.000");
  submit.Set("change_data", Record(kDocFields, {3}, {{{"DOC_ID", I(2)}}}));
  transport::TRpcFunctionInfo unnamed = submit;
  unnamed.Remove("logname");
  unnamed.SetNull("change_data");
  const std::string bytes("PK\x03\x04 body", 10);
  transport::TRpcFunctionInfo sendfile("sendfile");
  sendfile.SetInteger("user_id", 5);
  sendfile.SetInteger("doc_id", 2);
  sendfile.SetByteStream("file", bytes);
  transport::TRpcFunctionInfo nofile("sendfile");
  nofile.SetInteger("doc_id", 3);

  const std::string replies =
      functions.Process(submit.toCode() + unnamed.toCode() + sendfile.toCode() + nofile.toCode());
  EXPECT_EQ(replies.substr(0, replies.find("E=")), "T=8\"DOCS.000\";B=T;I=2;");
  EXPECT_NE(replies.find("The parameter file is missing."), std::string::npos);
  EXPECT_EQ(Rows("SELECT DOC_ID FROM DOCS"), "1,;");
  EXPECT_EQ(foundation::testing::ReadAll(SentFilePath(folder_.Path(), 2)), bytes);
  EXPECT_FALSE(std::filesystem::exists(SentFilePath(folder_.Path(), 3)));
}

}  // namespace
}  // namespace quillorn::server
