#include "addin/custom_fields.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"

namespace quillorn::addin {
namespace {

std::vector<std::string> Captions(CommandSurface& s) {
  std::vector<std::string> out;
  for (const Control& c : s.FindById("qlCustomField")->controls) out.push_back(c.id + "=" + c.caption);
  return out;
}

TEST(PopulateCustomFields, OneButtonPerRowInTableOrderEachTimeFromOne) {
  foundation::testing::TempFolder folder;
  data::Database db("CacheDB");
  db.FileName = folder.Dir() + "cache.dat";
  db.Open(true);
  db.Execute("CREATE TABLE DOCFIELDS (CODE VARCHAR(30), VAL VARCHAR(1024), VAL3 INTEGER)");
  data::Table tblDocFields(db, "DOCFIELDS", "", "tblDocFields");
  tblDocFields.Open();

  CommandSurface s;
  s.AddCustomFieldMenuButton("Left over from the last document", "");
  PopulateCustomFields(s, tblDocFields);
  EXPECT_TRUE(Captions(s).empty()) << "a type without fields empties the menu";
  ASSERT_NE(s.FindById("qlCustomField"), nullptr) << "and keeps the menu itself";

  db.Execute("insert into DOCFIELDS (CODE, VAL) values ('Department', 'Sales')");
  db.Execute("insert into DOCFIELDS (CODE, VAL) values ('Owner', NULL)");
  tblDocFields.Refresh();
  PopulateCustomFields(s, tblDocFields);
  PopulateCustomFields(s, tblDocFields);
  EXPECT_EQ(Captions(s), (std::vector<std::string>{"qlCustomField1=Department", "qlCustomField2=Owner"}));
  EXPECT_EQ(s.FindById("qlCustomField")->controls[1].handler, "InsertCustomFieldClick");
  EXPECT_TRUE(tblDocFields.Eof());

  s.FindById("qlCustomField")->type = ControlType::Button;
  EXPECT_NO_THROW(PopulateCustomFields(s, tblDocFields));
  EXPECT_EQ(s.FindById("qlCustomField")->controls.size(), 2u);
}

}  // namespace
}  // namespace quillorn::addin
