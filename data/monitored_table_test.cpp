#include "data/monitored_table.h"

#include <gtest/gtest.h>

#include "data/cache_schema.h"
#include "transport/dataset_monitor.h"

namespace quillorn::data {
namespace {

using transport::TRpcFieldTypes;

class MonitoredTableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.FileName = ":memory:";
    db_.Open(true);
    for (const TableStatement& statement : CacheTableStatements()) db_.Execute(statement.sql);
    db_.Execute("insert into DOCS (DOC_ID, DOC_NAME, NOTES) values (1, 'One', 'note')");
  }
  Database db_{"CacheDB"};
};

TEST_F(MonitoredTableTest, FieldsInTheWiresTypes) {
  struct Case {
    const char* table;
    const char* field;
    TRpcFieldTypes type;
    int size;
    bool blob;
    bool required;
  };
  const Case cases[] = {
      {"DOCS", "DOC_ID", TRpcFieldTypes::ft_Integer, 0, false, false},
      {"DOCS", "DOC_NAME", TRpcFieldTypes::ft_String, 512, false, false},
      {"DOCS", "STATUS", TRpcFieldTypes::ft_String, 1, false, false},
      {"DOCS", "VER_DATE", TRpcFieldTypes::ft_DateTime, 0, false, false},
      {"DOCS", "NEXT_REVIEW", TRpcFieldTypes::ft_Date, 0, false, false},
      {"DOCS", "NOTES", TRpcFieldTypes::ft_Blob, 0, true, false},
      {"FORMS", "FIELDS_USED", TRpcFieldTypes::ft_Memo, 0, true, false},
      {"FILES", "INIT", TRpcFieldTypes::ft_Boolean, 0, false, false},
      {"UPLOADS", "FILENAME", TRpcFieldTypes::ft_WideString, 1024, false, false},
      {"PUBLISHED_DOCS", "SOURCE_TYPE", TRpcFieldTypes::ft_String, 10, false, true},
  };
  for (const Case& c : cases) {
    Table table(db_, c.table);
    table.Open();
    MonitoredTable monitored(table);
    const std::ptrdiff_t index = monitored.FindField(c.field);
    ASSERT_GE(index, 0) << c.field;
    const auto info = monitored.FieldInfo(static_cast<size_t>(index));
    EXPECT_EQ(info.Type, c.type) << c.table << "." << c.field;
    EXPECT_EQ(info.Size, c.size) << c.table << "." << c.field;
    EXPECT_EQ(info.Blob, c.blob) << c.table << "." << c.field;
    EXPECT_EQ(info.Required, c.required) << c.table << "." << c.field;
  }
}

TEST_F(MonitoredTableTest, AMonitorRecordsEditsButNotCancelledInserts) {
  Table tblDoc(db_, "DOCS", "DOC_ID", "tblDoc");
  tblDoc.Open();
  MonitoredTable monitored(tblDoc);
  transport::TRpcDataSetMonitor monDoc;
  monDoc.SetDataSet(&monitored);
  monDoc.SetActive(true);

  tblDoc.Insert();
  tblDoc.FieldByName("DOC_ID").SetValue(std::int32_t{2});
  tblDoc.Cancel();
  EXPECT_FALSE(monDoc.Changed());

  ASSERT_TRUE(tblDoc.Locate("DOC_ID", std::int32_t{1}));
  tblDoc.Edit();
  tblDoc.FieldByName("DOC_NAME").SetValue("One, renamed");
  tblDoc.Post();
  EXPECT_TRUE(monDoc.Changed());
  EXPECT_FALSE(monDoc.ExtractChanges().IsNull());
  EXPECT_FALSE(monDoc.Changed());

  // Switched off, the table's events reach nobody.
  monDoc.SetActive(false);
  tblDoc.Edit();
  tblDoc.FieldByName("DOC_NAME").SetValue("One again");
  tblDoc.Post();
  monDoc.SetActive(true);
  EXPECT_FALSE(monDoc.Changed());
  tblDoc.Delete();
  EXPECT_TRUE(monDoc.Changed());
}

}  // namespace
}  // namespace quillorn::data
