#include "data/monitored_table.h"

#include <gtest/gtest.h>

#include "data/cache_schema.h"
#include "transport/dataset_monitor.h"

namespace quillorn::data {
namespace {

using transport::TRpcFieldTypes;

TEST(MonitoredTable, FieldsInTheWiresTypesAndAMonitorOfEditsButNotOfCancelledInserts) {
  Database db("CacheDB");
  db.FileName = ":memory:";
  db.Open(true);
  for (const TableStatement& statement : CacheTableStatements()) db.Execute(statement.sql);
  db.Execute("create table T (F FLOAT, U)");  // U: no declared type at all
  struct Case {
    const char *table, *field;
    TRpcFieldTypes type;
    int size = 0;
    bool blob = false, required = false;
  };
  for (const Case& c : {Case{.table = "DOCS", .field = "NEXT_REVIEW", .type = TRpcFieldTypes::ft_Date},
                        Case{.table = "FORMS", .field = "FIELDS_USED", .type = TRpcFieldTypes::ft_Memo, .blob = true},
                        Case{.table = "FILES", .field = "INIT", .type = TRpcFieldTypes::ft_Boolean},
                        Case{.table = "UPLOADS", .field = "FILENAME", .type = TRpcFieldTypes::ft_WideString,
                             .size = 1024},
                        Case{.table = "T", .field = "F", .type = TRpcFieldTypes::ft_Float},
                        Case{.table = "PUBLISHED_DOCS", .field = "SOURCE_TYPE", .type = TRpcFieldTypes::ft_String,
                             .size = 10, .required = true}}) {
    Table table(db, c.table);
    table.Open();
    const MonitoredTable monitored(table);
    const auto info = monitored.FieldInfo(static_cast<std::size_t>(monitored.FindField(c.field)));
    EXPECT_EQ(info.Type, c.type) << c.field;
    EXPECT_EQ(info.Size, c.size) << c.field;
    EXPECT_EQ(info.Blob, c.blob) << c.field;
    EXPECT_EQ(info.Required, c.required) << c.field;
  }
  {
    Table table(db, "T");
    table.Open();
    const MonitoredTable monitored(table);
    EXPECT_EQ(monitored.FindField("NONE"), -1);
    EXPECT_THROW(monitored.FieldInfo(static_cast<std::size_t>(monitored.FindField("U"))), transport::ERpcDB);
  }

  db.Execute("insert into DOCS (DOC_ID, DOC_NAME) values (1, 'One')");
  Table tblDoc(db, "DOCS", "DOC_ID", "tblDoc");
  tblDoc.Open();
  MonitoredTable monitored(tblDoc);
  transport::TRpcDataSetMonitor monDoc;
  monDoc.SetDataSet(&monitored);
  monDoc.SetActive(true);
  tblDoc.Insert();
  tblDoc.FieldByName("DOC_ID").SetValue(std::int32_t{2});
  tblDoc.Cancel();
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
