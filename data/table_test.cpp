#include "data/table.h"

#include <gtest/gtest.h>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::data {
namespace {

using foundation::testing::TempFolder;

class TableTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.FileName = folder_.Dir() + "t.dat";
    db_.Open(true);
    db_.Execute("CREATE TABLE FILES (DOC_ID INTEGER, FILENAME VARCHAR(1024), INIT BOOLEAN DEFAULT FALSE, "
                "USER_ID INTEGER, LAST_SAVED DATETIME, PRIMARY KEY FILENAME_IDX (FILENAME))");
    db_.Execute("CREATE TABLE CODES (D_TYPE VARCHAR(15), CODE VARCHAR(30), VAL VARCHAR(1024))");
    for (auto [id, name] : {std::pair{30, "C:\\Cache\\Gamma.docx"}, {10, "C:\\Cache\\alpha.docx"},
                           {20, "C:\\Cache\\Beta.xlsx"}}) {
      db_.Execute("insert into FILES (DOC_ID, FILENAME) values (?, ?)", std::vector<Variant>{id, name});
    }
    other_.FileName = db_.FileName;
    other_.Open();
  }

  TempFolder folder_;
  Database db_{"CacheDB"};
  Database other_{"CacheDB"};  // a second host process on the same file
};

TEST_F(TableTest, OpensInIndexOrderAndWalks) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  EXPECT_EQ(t.RecordCount(), 3);
  std::vector<int> ids;
  for (t.First(); !t.Eof(); t.Next()) ids.push_back(t.FieldByName("doc_id").AsInteger());
  EXPECT_EQ(ids, (std::vector<int>{10, 20, 30}));
  EXPECT_EQ(t.RecNo(), 3);
  t.Prior();
  EXPECT_EQ(t.FieldByName("DOC_ID").AsInteger(), 20);
  EXPECT_FALSE(t.FieldByName("Init").AsBoolean());
  EXPECT_EQ(t.FieldByName("Init").Value(), Variant(false));
  EXPECT_TRUE(t.FieldByName("LAST_SAVED").IsNull());
  EXPECT_EQ(t.FieldByName("FileName").AsString(), "C:\\Cache\\Beta.xlsx");
  EXPECT_THROW(t.FieldByName("NOPE"), DataSetError);
  EXPECT_EQ(t.KeyFieldNames(), std::vector<std::string>{"FILENAME"});
}

TEST_F(TableTest, LocateBySeveralFieldsWithOptions) {
  Table t(db_, "FILES", "FILENAME", "tblFiles");
  t.Open();
  struct Case {
    const char* fields;
    Variant values;
    LocateOptions options;
    int expectedDocId;  // 0: not found
  };
  const Case cases[] = {
      {"FILENAME", "c:\\cache\\beta.xlsx", {}, 0},
      {"FILENAME", "c:\\cache\\beta.xlsx", {.caseInsensitive = true}, 20},
      {"filename", "C:\\Cache\\G", {.partialKey = true}, 30},
      {"filename", "c:\\cache\\g", {.caseInsensitive = true, .partialKey = true}, 30},
      {"DOC_ID", std::int32_t{10}, {}, 10},
      {"DOC_ID", "20", {}, 20},
      {"DOC_ID;FILENAME", platform::VariantList{std::int32_t{30}, "C:\\Cache\\Gamma.docx"}, {}, 30},
      {"DOC_ID;FILENAME", platform::VariantList{std::int32_t{20}, "C:\\Cache\\Gamma.docx"}, {}, 0},
      // Several rows match: the first in index order wins (binary order: upper case first).
      {"USER_ID", Variant::Null(), {}, 20},
      {"INIT", false, {}, 20},
  };
  for (const Case& c : cases) {
    t.Last();
    const bool found = t.Locate(c.fields, c.values, c.options);
    EXPECT_EQ(found, c.expectedDocId != 0) << c.fields << " " << c.values.AsString();
    // A failed search leaves the cursor where it was, on the last row.
    EXPECT_EQ(t.FieldByName("DOC_ID").AsInteger(), found ? c.expectedDocId : 10) << c.fields;
  }
  EXPECT_THROW(t.Locate("DOC_ID;FILENAME", std::int32_t{1}), DataSetError);
  EXPECT_EQ(t.Lookup("DOC_ID", std::int32_t{20}, "FILENAME"), Variant("C:\\Cache\\Beta.xlsx"));
  EXPECT_TRUE(t.Lookup("DOC_ID", std::int32_t{99}, "FILENAME").IsNull());
}

TEST_F(TableTest, LocateOnTheIndexFieldFindsWhatAScanFinds) {
  // A column without a type keeps nulls, numbers and text side by side.
  db_.Execute("CREATE TABLE MIX (K, V INTEGER)");
  int v = 0;
  for (const Variant& k : {Variant::Null(), Variant(5), Variant("abc"), Variant(5), Variant(7.5), Variant("5"),
                           Variant(-3), Variant("abc"), Variant("12"), Variant("Zed"), Variant::Null()}) {
    db_.Execute("insert into MIX values (?, ?)", std::vector<Variant>{k, Variant(++v)});
  }
  Table t(db_, "MIX", "K", "tblMix");
  t.Open();
  const std::vector<Variant> wanted = {Variant::Null(), Variant(5),     Variant(5.0),    Variant("5"),
                                       Variant(7),      Variant(7.5),   Variant("7.5"),  Variant("abc"),
                                       Variant("ABC"),  Variant(-3),    Variant(0),      Variant(true),
                                       Variant("Zed"),  Variant("Ze"),  Variant(""),     Variant(1e300),
                                       Variant("12"),   Variant(12)};
  for (const Variant& w : wanted) {
    SCOPED_TRACE(w.IsEmptyOrNull() ? std::string("null") : w.AsString());
    // "K;K" names the field twice, which the halving search doesn't take: the scan.
    t.First();
    const bool scanned = t.Locate("K;K", Variant(platform::VariantList{w, w}));
    const int scannedAt = t.RecNo();
    t.First();
    EXPECT_EQ(t.Locate("K", w), scanned);
    EXPECT_EQ(t.RecNo(), scannedAt);
    EXPECT_EQ(t.Lookup("K", w, "V"), t.Lookup("K;K", Variant(platform::VariantList{w, w}), "V"));
  }
  // Duplicates: the first in index order, as a scan finds it.
  ASSERT_TRUE(t.Locate("K", Variant(5)));
  EXPECT_EQ(t.FieldByName("V").AsInteger(), 2);
}

TEST_F(TableTest, EventsComeInOrder) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  std::vector<std::string> seen;
  auto note = [&](const char* what) { return [&seen, what](Table&) { seen.push_back(what); }; };
  t.BeforeInsert = note("BeforeInsert");
  t.AfterInsert = note("AfterInsert");
  t.BeforeEdit = note("BeforeEdit");
  t.AfterEdit = note("AfterEdit");
  t.BeforePost = note("BeforePost");
  t.AfterPost = note("AfterPost");
  t.BeforeCancel = note("BeforeCancel");
  t.AfterCancel = note("AfterCancel");
  t.BeforeDelete = note("BeforeDelete");
  t.AfterDelete = note("AfterDelete");
  t.Open();

  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{5});
  t.Post();
  t.Edit();
  t.Cancel();
  t.Append();
  t.FieldByName("FILENAME").SetValue("x");
  t.Post();
  t.Delete();
  // An edit with changes is posted when the cursor moves on.
  t.First();
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{6});
  t.Next();
  EXPECT_EQ(seen, (std::vector<std::string>{"BeforeEdit", "AfterEdit", "BeforePost", "AfterPost", "BeforeEdit",
                                            "AfterEdit", "BeforeCancel", "AfterCancel", "BeforeInsert",
                                            "AfterInsert", "BeforePost", "AfterPost", "BeforeDelete",
                                            "AfterDelete", "BeforeEdit", "AfterEdit", "BeforePost", "AfterPost"}));
}

TEST_F(TableTest, ObserversHearAnEventBeforeTheHandler) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  std::vector<std::string> seen;
  struct Recorder : TableObserver {
    std::vector<std::string>* seen;
    void OnTableEvent(Table&, TableEvent e) override {
      if (e == TableEvent::AfterPost) seen->push_back("observer");
    }
  } recorder;
  recorder.seen = &seen;
  t.AddObserver(&recorder);
  // A handler that takes the observer away still leaves it this one event.
  t.AfterPost = [&](Table& table) {
    seen.push_back("handler");
    table.RemoveObserver(&recorder);
  };
  t.Open();
  for (int round = 0; round < 2; ++round) {
    t.Edit();
    t.FieldByName("USER_ID").SetValue(std::int32_t{round});
    t.Post();
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"observer", "handler", "handler"}));
}

TEST_F(TableTest, CalculatedFieldsFollowTheRowAndAreNeverWritten) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  int calculations = 0;
  t.AddCalculatedField("OWNER", FieldKind::String, 20, [&calculations](Table& table) {
    ++calculations;
    const Field user = table.FieldByName("USER_ID");
    return user.IsNull() ? Variant::Null() : Variant("user " + user.AsString());
  });
  EXPECT_THROW(t.AddCalculatedField("owner", FieldKind::String, 20, {}), DataSetError);
  t.Open();
  ASSERT_EQ(t.FieldCount(), 6);
  EXPECT_TRUE(t.FieldDefs().back().calculated);
  EXPECT_EQ(t.FieldByName("owner").FieldName(), "OWNER");
  EXPECT_EQ(calculations, 0) << "worked out when read, not when the row is fetched";

  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{20}));
  EXPECT_TRUE(t.FieldByName("OWNER").IsNull());
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{5});
  EXPECT_EQ(t.FieldByName("OWNER").AsString(), "user 5") << "the edit buffer counts at once";
  EXPECT_THROW(t.FieldByName("OWNER").SetValue("x"), DataSetError);
  EXPECT_TRUE(t.FieldByName("OWNER").OldValue().IsNull());
  t.Post();
  t.Insert();
  t.FieldByName("FILENAME").SetValue("C:\\Cache\\new.docx");
  t.FieldByName("USER_ID").SetValue(std::int32_t{8});
  EXPECT_EQ(t.FieldByName("OWNER").AsString(), "user 8");
  t.Post();

  // Nothing of it reached the file, and it is no key to search by.
  EXPECT_EQ(other_.Query("select USER_ID from FILES where DOC_ID = 20").rows.at(0).at(0).AsInt(), 5);
  EXPECT_EQ(other_.Query("select count(*) from FILES where USER_ID = 8").rows.at(0).at(0).AsInt(), 1);
  EXPECT_THROW(t.Locate("OWNER", Variant("user 5")), DataSetError);
  EXPECT_THROW(t.Lookup("DOC_ID", std::int32_t{20}, "OWNER"), DataSetError);

  // It stays over closing, follows the cursor and reads as null on no row.
  t.Close();
  t.Open();
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{20}));
  EXPECT_EQ(t.FieldByName("OWNER").AsString(), "user 5");
  t.Refresh();
  EXPECT_EQ(t.FieldByName("OWNER").AsString(), "user 5");
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{10}));
  EXPECT_TRUE(t.FieldByName("OWNER").IsNull());
  db_.Execute("delete from FILES");
  t.Refresh();
  EXPECT_TRUE(t.FieldByName("OWNER").IsNull());
}

TEST_F(TableTest, ACalculatedFieldMayNotShadowAColumnNorBeTheIndex) {
  Table clash(db_, "FILES", "DOC_ID", "tblFiles");
  clash.AddCalculatedField("INIT", FieldKind::Boolean, 0, {});
  EXPECT_THROW(clash.Open(), DataSetError);
  Table indexed(db_, "FILES", "SHOWN", "tblFiles");
  indexed.AddCalculatedField("SHOWN", FieldKind::String, 10, {});
  EXPECT_THROW(indexed.Open(), DataSetError);
}

TEST_F(TableTest, EditPostCancelDeleteReachTheFile) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{20}));
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{7});
  EXPECT_EQ(t.FieldByName("USER_ID").AsInteger(), 7);
  EXPECT_TRUE(t.FieldByName("USER_ID").OldValue().IsNull());
  t.Cancel();
  EXPECT_TRUE(t.FieldByName("USER_ID").IsNull());
  EXPECT_TRUE(other_.Query("select USER_ID from FILES where DOC_ID=20").rows[0][0].IsNull());

  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{7});
  t.FieldByName("INIT").SetValue(true);
  t.Post();
  EXPECT_EQ(t.State(), DataSetState::Browse);
  const ResultSet r = other_.Query("select USER_ID, INIT from FILES where DOC_ID=20");
  EXPECT_EQ(r.rows[0][0], Variant(std::int32_t{7}));
  EXPECT_EQ(r.rows[0][1], Variant(true));

  // Changing the sort field moves the row to its place and the cursor with it.
  t.Edit();
  t.FieldByName("DOC_ID").SetValue(std::int32_t{40});
  t.Post();
  EXPECT_EQ(t.RecNo(), 3);
  EXPECT_EQ(t.FieldByName("FILENAME").AsString(), "C:\\Cache\\Beta.xlsx");

  t.Delete();
  EXPECT_EQ(t.RecordCount(), 2);
  EXPECT_EQ(other_.Query("select count(*) from FILES").rows[0][0], Variant(std::int32_t{2}));
  EXPECT_THROW(t.FieldByName("USER_ID").SetValue(std::int32_t{1}), DataSetError);
}

TEST_F(TableTest, InsertTakesDefaultsAndSortsIn) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  t.Insert();
  EXPECT_EQ(t.FieldByName("INIT").Value(), Variant(false));  // the column's default, before posting
  t.FieldByName("DOC_ID").SetValue(std::int32_t{15});
  t.FieldByName("FILENAME").SetValue("new.docx");
  t.Post();
  EXPECT_EQ(t.RecNo(), 2);
  EXPECT_EQ(t.FieldByName("INIT").Value(), Variant(false));
  EXPECT_EQ(other_.Query("select INIT from FILES where DOC_ID=15").rows[0][0], Variant(false));

  // The key is unique: a second row with the same name fails and stays in insert state.
  t.Append();
  t.FieldByName("FILENAME").SetValue("new.docx");
  EXPECT_THROW(t.Post(), SqlError);
  EXPECT_EQ(t.State(), DataSetState::Insert);
  t.Cancel();
  EXPECT_EQ(t.RecordCount(), 4);
}

TEST_F(TableTest, EditOfAnEmptyTableInserts) {
  Table t(db_, "CODES", "", "tblCodes");
  t.Open();
  t.Edit();
  EXPECT_EQ(t.State(), DataSetState::Insert);
  t.FieldByName("D_TYPE").SetValue("APP_OPTION");
  t.Post();
  EXPECT_EQ(t.RecordCount(), 1);
}

TEST_F(TableTest, WithoutAKeyOnlyTheCurrentRowIsUpdated) {
  db_.Execute("insert into CODES values ('A', 'X', '1')");
  db_.Execute("insert into CODES values ('A', 'X', '1')");
  Table t(db_, "CODES", "", "tblCodes");
  t.Open();
  t.Last();
  t.Edit();
  t.FieldByName("VAL").SetValue("2");
  t.Post();
  const ResultSet r = other_.Query("select VAL from CODES order by rowid");
  ASSERT_EQ(r.rows.size(), 2u);
  EXPECT_EQ(r.rows[0][0], Variant("1"));
  EXPECT_EQ(r.rows[1][0], Variant("2"));
  t.First();
  t.Delete();
  EXPECT_EQ(other_.Query("select VAL from CODES").rows.size(), 1u);
}

TEST_F(TableTest, RefreshSeesOtherProcessesAndKeepsTheRow) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{20}));
  other_.Execute("insert into FILES (DOC_ID, FILENAME) values (5, 'first.docx')");
  other_.Execute("update FILES set USER_ID=9 where DOC_ID=20");
  other_.Execute("delete from FILES where DOC_ID=30");
  t.Refresh();
  EXPECT_EQ(t.RecordCount(), 3);
  EXPECT_EQ(t.FieldByName("DOC_ID").AsInteger(), 20);
  EXPECT_EQ(t.FieldByName("USER_ID").AsInteger(), 9);
  EXPECT_EQ(t.RecNo(), 3);

  other_.Execute("update FILES set USER_ID=11 where DOC_ID=20");
  t.Resync();
  EXPECT_EQ(t.FieldByName("USER_ID").AsInteger(), 11);

  // A row deleted elsewhere can't be posted, and the edit stays for the caller.
  other_.Execute("delete from FILES where DOC_ID=20");
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{1});
  EXPECT_THROW(t.Post(), DataSetError);
  EXPECT_EQ(t.State(), DataSetState::Edit);
  t.Cancel();
  t.Resync();
  EXPECT_EQ(t.RecordCount(), 2);
}

// The desktop program announces a document while the host has its tables open:
// a locate must find the new row without anybody refreshing first, and a miss
// in an unchanged database must not re-read the rows.
TEST_F(TableTest, LocateSeesRowsOthersCommittedSinceTheRead) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  t.Open();
  other_.Execute("insert into FILES (DOC_ID, FILENAME) values (40, 'announced.docx')");
  ASSERT_TRUE(t.Locate("DOC_ID", std::int32_t{40}));
  EXPECT_EQ(t.FieldByName("FILENAME").AsString(), "announced.docx");
  EXPECT_EQ(t.RecordCount(), 4);

  // The same connection's own statement (a cache statement beside the table) counts too.
  db_.Execute("insert into FILES (DOC_ID, FILENAME) values (50, 'appended.docx')");
  EXPECT_TRUE(t.Locate("FILENAME", "appended.docx"));

  // The table's own writes keep its rows current: a miss after them reads nothing again,
  // so a row deleted behind its back stays until something else moves the database.
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{3});
  t.Post();
  t.Append();
  t.FieldByName("DOC_ID").SetValue(std::int32_t{60});
  t.FieldByName("FILENAME").SetValue("own.docx");
  t.Post();
  EXPECT_FALSE(t.Locate("DOC_ID", std::int32_t{99}));
  EXPECT_EQ(t.RecordCount(), 6);
  EXPECT_TRUE(t.Locate("DOC_ID", std::int32_t{60}));
}

TEST_F(TableTest, ClosedTableRefusesWork) {
  Table t(db_, "FILES", "DOC_ID", "tblFiles");
  EXPECT_FALSE(t.Active());
  EXPECT_THROW(t.First(), DataSetError);
  EXPECT_THROW(t.FieldByName("DOC_ID"), DataSetError);
  t.Open();
  t.Edit();
  t.FieldByName("USER_ID").SetValue(std::int32_t{3});
  t.Close();  // never posts
  EXPECT_TRUE(other_.Query("select USER_ID from FILES where DOC_ID=10").rows[0][0].IsNull());
  Table missing(db_, "NOPE");
  EXPECT_THROW(missing.Open(), DataSetError);
}

}  // namespace
}  // namespace quillorn::data
