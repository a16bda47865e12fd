#include "data/table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

class TableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.FileName = other_.FileName = folder_.Dir() + "t.dat";
    db_.Open(true);
    db_.Execute("CREATE TABLE FILES (DOC_ID INTEGER, FILENAME VARCHAR(1024), INIT BOOLEAN DEFAULT FALSE, "
                "USER_ID INTEGER, LAST_SAVED DATETIME, PRIMARY KEY FILENAME_IDX (FILENAME))");
    db_.Execute("CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024) DEFAULT 'it''s')");
    db_.Execute("insert into FILES (DOC_ID, FILENAME) values (30, 'C:\\Cache\\Gamma.docx'), "
                "(10, 'C:\\Cache\\alpha.docx'), (20, 'C:\\Cache\\Beta.xlsx')");
    other_.Open();
  }
  Variant Other(const std::string& sql) { return other_.Query(sql).rows.at(0).at(0); }

  foundation::testing::TempFolder folder_;
  Database db_{"CacheDB"};
  Database other_{"CacheDB"};  // a second host process on the same file
};

TEST_F(TableTest, OpensInIndexOrderWalksAndLocatesBySeveralFields) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  std::vector<int> ids;
  for (t.First(); !t.Eof(); t.Next()) ids.push_back(t.FieldByName("doc_id").AsInteger());
  EXPECT_EQ(ids, (std::vector<int>{10, 20, 30}));
  t.Prior();
  EXPECT_EQ(t.RecNo(), 2);
  EXPECT_FALSE(t.FieldByName("USER_ID").AsBoolean() || t.FieldByName("Init").AsBoolean());
  EXPECT_TRUE(t.FieldByName("LAST_SAVED").IsNull());
  EXPECT_EQ(t.KeyFieldNames(), std::vector<std::string>{"FILENAME"});
  struct Case {
    const char* fields;
    Variant values;
    LocateOptions options;
    int docId;  // 0: not found, and the cursor stays on the last row
  };
  const Case cases[] = {
      {"FILENAME", "c:\\cache\\beta.xlsx", {}, 0},
      {"FILENAME", "c:\\cache\\beta.xlsx", {.caseInsensitive = true}, 20},
      {"filename", "c:\\cache\\g", {.caseInsensitive = true, .partialKey = true}, 30},
      {"DOC_ID", "20", {}, 20},
      {"DOC_ID;FILENAME", platform::VariantList{std::int32_t{20}, "C:\\Cache\\Gamma.docx"}, {}, 0},
      {"USER_ID", Variant::Null(), {}, 10},  // several match: the first in index order
  };
  for (const Case& c : cases) {
    t.Last();
    EXPECT_EQ(t.Locate(c.fields, c.values, c.options), c.docId != 0) << c.fields;
    EXPECT_EQ(t.FieldByName("DOC_ID").AsInteger(), c.docId ? c.docId : 30) << c.fields;
  }
  EXPECT_THROW(t.Locate("DOC_ID;FILENAME", std::int32_t{1}), DataSetError);
  EXPECT_EQ(t.Lookup("DOC_ID", std::int32_t{20}, "FILENAME;USER_ID"),
            Variant(platform::VariantList{"C:\\Cache\\Beta.xlsx", Variant::Null()}));
  EXPECT_TRUE(t.Lookup("DOC_ID", std::int32_t{99}, "FILENAME").IsNull());
}

TEST_F(TableTest, LocateOnTheIndexFieldFindsWhatAScanFinds) {
  // A column without a type keeps nulls, numbers and text side by side.
  db_.Execute("CREATE TABLE MIX (K, V INTEGER)");
  int v = 0;
  for (const Variant& k : {Variant::Null(), Variant(5), Variant("abc"), Variant(5), Variant(7.5), Variant("5"),
                           Variant(-3), Variant("12"), Variant("Zed")}) {
    db_.Execute("insert into MIX values (?, ?)", std::vector<Variant>{k, Variant(++v)});
  }
  Table t(db_, "MIX", "K", "tblMix");
  t.Open();
  for (const Variant& w : {Variant::Null(), Variant(5.0), Variant("5"), Variant(7), Variant("7.5"), Variant("ABC"),
                           Variant(true), Variant("Ze"), Variant(12)}) {
    SCOPED_TRACE(w.IsEmptyOrNull() ? std::string("null") : w.AsString());
    // "K;K" names the field twice, which the halving search doesn't take: the scan.
    t.First();
    const bool scanned = t.Locate("K;K", Variant(platform::VariantList{w, w}));
    const int scannedAt = t.RecNo();
    t.First();
    EXPECT_EQ(t.Locate("K", w), scanned);
    EXPECT_EQ(t.RecNo(), scannedAt);
  }
  ASSERT_TRUE(t.Locate("K", Variant(5)));
  EXPECT_EQ(t.FieldByName("V").AsInteger(), 2);
}

TEST_F(TableTest, ObserversHearAnEventBeforeTheHandlerAndCalculatedFieldsAreNeverWritten) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  std::vector<std::string> seen;
  struct Recorder : TableObserver {
    std::vector<std::string>* seen;
    void OnTableEvent(Table&, TableEvent e) override { seen->push_back("observer " + std::to_string(int(e))); }
  } recorder;
  recorder.seen = &seen;
  t.AddObserver(&recorder);
  // A handler that takes the observer away still leaves it this one event.
  t.AfterPost = [&](Table& table) {
    seen.push_back("AfterPost");
    table.RemoveObserver(&recorder);
  };
  t.AddCalculatedField("OWNER", FieldKind::String, 20, [](Table& table) {
    const Field user = table.FieldByName("USER_ID");
    return user.IsNull() ? Variant::Null() : Variant("user " + user.AsString());
  });
  EXPECT_THROW(t.AddCalculatedField("owner", FieldKind::String, 20, {}), DataSetError);
  t.Open();
  seen.clear();
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{5});
  EXPECT_EQ(t.FieldByName("owner").AsString(), "user 5") << "the edit buffer counts at once";
  EXPECT_THROW(t.FieldByName("OWNER").SetValue("x"), DataSetError);
  EXPECT_EQ(t.FieldByName("owner").FieldName(), "OWNER");
  t.Next();  // an edit with changes is posted when the cursor moves on
  t.Delete();
  EXPECT_EQ(seen, (std::vector<std::string>{"observer 4", "observer 5", "observer 6", "observer 7", "AfterPost"}));
  EXPECT_EQ(Other("select USER_ID from FILES where DOC_ID = 10").AsInt(), 5);
  EXPECT_THROW(t.Locate("OWNER", Variant("user 5")), DataSetError);
  Table clash(db_, "FILES", "DOC_ID", "tblFiles");
  clash.AddCalculatedField("INIT", FieldKind::Boolean, 0, {});
  EXPECT_THROW(clash.Open(), DataSetError);
}

TEST_F(TableTest, EditsInsertsAndDeletesReachTheFileAndKeepTheOrder) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{20}));
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{7});
  EXPECT_TRUE(t.FieldByName("USER_ID").OldValue().IsNull());
  t.Cancel();
  EXPECT_TRUE(t.FieldByName("USER_ID").IsNull());
  EXPECT_THROW(t.FieldByName("USER_ID").SetValue(std::int32_t{7}), DataSetError);
  // Changing the sort field moves the row to its place and the cursor with it.
  t.Edit();
  t.FieldByName("DOC_ID").SetValue(std::int32_t{40});
  t.FieldByName("INIT").SetValue(true);
  t.Post();
  EXPECT_EQ(t.RecNo(), 3);
  EXPECT_EQ(Other("select INIT from FILES where DOC_ID=40"), Variant(true));
  // A new row takes the column's default before posting and sorts in.
  t.Insert();
  EXPECT_EQ(t.FieldByName("INIT").Value(), Variant(false));
  t.FieldByName("DOC_ID").SetValue(std::int32_t{15});
  t.FieldByName("FILENAME").SetValue("new.docx");
  t.Post();
  EXPECT_EQ(t.RecNo(), 2);
  // The key is unique: a second row with the same name fails and stays in insert state.
  t.Append();
  t.FieldByName("FILENAME").SetValue("new.docx");
  EXPECT_THROW(t.Post(), SqlError);
  EXPECT_EQ(t.State(), DataSetState::Insert);
  t.Cancel();
  t.Delete();
  EXPECT_EQ(t.RecordCount(), 3);
  EXPECT_EQ(Other("select count(*) from FILES"), Variant(std::int32_t{3}));

  // Without a key only the current row is written; an edit of an empty table inserts.
  Table codes(db_, "CODES", "", "tblCodes");
  codes.Open();
  codes.Edit();
  EXPECT_EQ(codes.FieldByName("VAL").AsString(), "it's");
  codes.Post();
  codes.Append();
  codes.Post();
  codes.Edit();
  codes.FieldByName("VAL").SetValue("2");
  codes.Post();
  EXPECT_EQ(Other("select group_concat(VAL, '/') from CODES"), Variant("it's/2"));
}

// The desktop program announces a document while the host has its tables open:
// a locate must find the new row without anybody refreshing first.
TEST_F(TableTest, RefreshAndLocateSeeWhatOthersCommitted) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{20}));
  other_.Execute("insert into FILES (DOC_ID, FILENAME) values (5, 'first.docx')");
  other_.Execute("update FILES set USER_ID=9 where DOC_ID=20");
  other_.Execute("delete from FILES where DOC_ID=30");
  t.Refresh();
  EXPECT_EQ(t.RecordCount(), 3);
  EXPECT_EQ(t.FieldByName("USER_ID").AsInteger(), 9);
  other_.Execute("update FILES set USER_ID=11 where DOC_ID=20");
  t.Resync();
  EXPECT_EQ(t.FieldByName("USER_ID").AsInteger(), 11);
  other_.Execute("insert into FILES (DOC_ID, FILENAME) values (40, 'announced.docx')");
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{40}));
  EXPECT_EQ(t.RecordCount(), 4);

  // A row deleted elsewhere can't be posted, and the edit stays for the caller.
  other_.Execute("delete from FILES where DOC_ID=40");
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{1});
  EXPECT_THROW(t.Post(), DataSetError);
  EXPECT_EQ(t.State(), DataSetState::Edit);
  t.Cancel();
  t.Resync();
  EXPECT_EQ(t.RecordCount(), 3);
  t.Close();  // never posts
  EXPECT_THROW(t.First(), DataSetError);
  Table missing(db_, "NOPE");
  EXPECT_THROW(missing.Open(), DataSetError);
}

}  // namespace
}  // namespace quillorn::data
