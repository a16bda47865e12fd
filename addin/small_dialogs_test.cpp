#include "addin/small_dialogs.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "data/cache_schema.h"
#include "data/sql_database.h"
#include "foundation/temp_folder_for_test.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"

namespace quillorn::addin {
namespace {

// The custom field dialog over the cache's own DOCFIELDS table, as the data
// module opens it.
class AddCustomField : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.FileName = folder_.Dir() + "cache.dat";
    db_.Open(true);
    for (const data::TableStatement& t : data::CacheTableStatements()) {
      if (t.table == "DOCFIELDS") db_.Execute(std::string(t.sql));
    }
    db_.Execute("insert into DOCFIELDS (CODE, VAL) values ('Department', 'Quality')");
    tblDocFields_.Open();
  }

  foundation::testing::TempFolder folder_;
  data::Database db_{"CacheDB"};
  data::Table tblDocFields_{db_, "DOCFIELDS", "", "tblDocFields"};
  std::vector<std::string> inserted_;
  TfrmAddCustomField dialog_{tblDocFields_, [this](const std::string& name, const std::string& value) {
                               inserted_.push_back(name + "=" + value);
                             }};
};

// DOCFIELDS has no D_TYPE: "Add" fails on the first field with the row begun,
// whatever the user typed, and neither the document nor the dialog is touched.
TEST_F(AddCustomField, AddFailsOnTheMissingTypeColumnAfterTheRowWasBegun) {
  struct Case {
    std::string name, value;
  };
  for (const Case& c : std::vector<Case>{{.name = "Site", .value = "North"}, {.name = "", .value = ""}}) {
    SCOPED_TRACE(c.name);
    dialog_.SetField("Edit1", c.name);
    dialog_.SetField("edit2", c.value);
    try {
      dialog_.Press("Add");
      ADD_FAILURE() << "Add went through";
    } catch (const data::DataSetError& e) {
      EXPECT_EQ(std::string(e.what()), "tblDocFields: Field 'd_type' not found");
    }
    EXPECT_EQ(tblDocFields_.State(), data::DataSetState::Insert);
    EXPECT_EQ(dialog_.ModalResult, platform::ModalResult::mrNone);
    tblDocFields_.Cancel();
  }
  EXPECT_TRUE(inserted_.empty());
  EXPECT_EQ(db_.Query("select count(*) from DOCFIELDS").rows.at(0).at(0).AsInt(), 1);
  EXPECT_THROW(dialog_.SetField("Edit3", "x"), std::invalid_argument);
  EXPECT_THROW((void)dialog_.GetField("Edit3"), std::invalid_argument);
  EXPECT_THROW(dialog_.Press("Cancel"), std::invalid_argument);
  for (const std::string& field : dialog_.FieldNames()) {
    dialog_.SetField(field, "v " + field);
    EXPECT_EQ(dialog_.GetField(field), "v " + field);
  }
}

// The hint closes itself after five seconds, or at once with its button.
TEST(Picture, ClosesAfterFiveSecondsOrWithOk) {
  platform::ManualClock clock;
  platform::QueueMainLoop loop(&clock);
  TfrmPicture byTimer(loop);
  byTimer.FormShow();
  loop.AdvanceAndRun(4999);
  EXPECT_TRUE(byTimer.Visible);
  loop.AdvanceAndRun(1);
  EXPECT_FALSE(byTimer.Visible);
  EXPECT_FALSE(byTimer.Timer1.Enabled());

  TfrmPicture byButton(loop);
  byButton.FormShow();
  EXPECT_EQ(byButton.Press("Ok"), platform::ModalResult::mrOk);
  EXPECT_FALSE(byButton.Visible);
  EXPECT_FALSE(byButton.Timer1.Enabled());
  // A hint has nothing to fill.
  EXPECT_TRUE(byButton.FieldNames().empty());
  EXPECT_THROW(byButton.SetField("Label1", "x"), std::invalid_argument);
  EXPECT_THROW((void)byButton.GetField("Label1"), std::invalid_argument);
}

}  // namespace
}  // namespace quillorn::addin
