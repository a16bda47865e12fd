#include "hostsim/host.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "hostsim/doc_file.h"
#include "hostsim/excel.h"
#include "hostsim/hosts.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"
#include "hostsim/word.h"

namespace quillorn::hostsim {
namespace {

using I = std::int32_t;

// A temp folder whose File() names a file in it.
struct TempDir : foundation::testing::TempFolder {
  std::string File(const std::string& name) const { return (Path() / name).string(); }
};

// Records the events in order and cancels what it is told to.
class RecordingWordSink : public WordEvents {
 public:
  void DocumentChange() override { log.push_back("change"); }
  void DocumentOpen(const Variant& doc) override { log.push_back("open " + doc.Get("Name").AsString()); }
  void NewDocument(const Variant&) override { log.push_back("new"); }
  void DocumentBeforeClose(const Variant&, bool& cancel) override {
    log.push_back("before close");
    cancel = cancel_close;
  }
  void DocumentBeforePrint(const Variant&, bool& cancel) override {
    log.push_back("before print");
    cancel = cancel_print;
  }
  void DocumentBeforeSave(const Variant&, bool& save_as_ui, bool& cancel) override {
    log.push_back(std::string("before save ui=") + (save_as_ui ? "true" : "false"));
    cancel = cancel_save;
  }
  void WindowActivate(const Variant& doc, const Variant&) override { log.push_back("activate " + doc.Get("Name").AsString()); }
  void WindowDeactivate(const Variant& doc, const Variant&) override { log.push_back("deactivate " + doc.Get("Name").AsString()); }
  void Quit() override { log.push_back("quit"); }

  std::vector<std::string> log;
  bool cancel_close = false;
  bool cancel_save = false;
  bool cancel_print = false;
};

TEST(SimHostTest, WordFiresItsEventsInTheHostsOrder) {
  TempDir dir;
  auto host = WordHost::Create();
  RecordingWordSink sink;
  host->SetEventSink(&sink);
  Variant app(host->Application());
  Variant a = app.Get("Documents").Call("Open", {dir.File("a.docx")});
  Variant b = app.Get("Documents").Call("Open", {dir.File("b.docx")});
  a.Call("Close");
  b.Call("PrintOut");
  b.Call("SaveAs", {dir.File("c.docx")});
  b.Call("Close");
  app.Call("Quit");
  const std::vector<std::string> expected = {
      "open a.docx",     "change",          "activate a.docx",    "open b.docx",  "deactivate a.docx",
      "change",          "activate b.docx", "before close",       "before print", "before save ui=true",
      "before close",    "deactivate c.docx", "change",           "quit"};
  EXPECT_EQ(sink.log, expected);
}

TEST(SimHostTest, CancelledCloseAndSaveDoNothing) {
  TempDir dir;
  const std::string path = dir.File("kept.docx");
  auto host = WordHost::Create();
  RecordingWordSink sink;
  host->SetEventSink(&sink);
  Variant app(host->Application());
  Variant doc = app.Get("Documents").Call("Open", {path});
  doc.Get("CustomDocumentProperties").Call("Add", {"cmsID", false, I{4}, "7"});

  sink.cancel_save = true;
  doc.Call("Save");
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_FALSE(doc.Get("Saved").AsBool());
  EXPECT_FALSE(host->Save(host->Active()));

  sink.cancel_close = true;
  doc.Call("Close", {I{-1}});
  EXPECT_FALSE(host->Close(host->Active()));
  EXPECT_EQ(app.Get("Documents").Get("Count").AsInt(), 1);
  EXPECT_EQ(doc.Get("Name").AsString(), "kept.docx");
  EXPECT_FALSE(std::filesystem::exists(path)) << "a cancelled close must not save either";

  sink.cancel_print = true;
  EXPECT_FALSE(host->Print(host->Active()));

  sink.cancel_save = false;
  sink.cancel_close = false;
  doc.Call("Close", {I{-1}});  // wdSaveChanges
  EXPECT_EQ(app.Get("Documents").Get("Count").AsInt(), 0);
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(SimHostTest, OpeningAMissingFileGivesAnEmptyDocumentAndAForeignFileRaises) {
  TempDir dir;
  auto host = ExcelHost::Create();
  Variant app(host->Application());
  Variant wb = app.Get("Workbooks").Call("Open", {dir.File("new.xlsx")});
  EXPECT_EQ(wb.Get("FullName").AsString(), dir.File("new.xlsx"));
  EXPECT_EQ(wb.Get("Worksheets").Get("Count").AsInt(), 3);
  EXPECT_TRUE(wb.Get("Saved").AsBool());

  // A damaged file is refused with its name and with where and what the fault is.
  const struct {
    const char* name;
    std::string text;
    const char* says;
  } damaged[] = {
      {.name = "zip.xlsx", .text = "PK\x03\x04 not ours", .says = "line 1, column 1"},
      {.name = "cut.xlsx", .text = "{\n  \"host\": \"excel\",\n  \"sheets\": [", .says = "line 3"},
      {.name = "list.xlsx", .text = "[]", .says = "not a simulated document"},
      {.name = "paint.xlsx", .text = R"({"host": "paint"})", .says = "unknown host \"paint\""},
      {.name = "word.xlsx", .text = DocumentToJson(*NewDocumentModel(HostType::ohaWord)), .says = "a word document"},
  };
  for (const auto& d : damaged) {
    std::ofstream(dir.File(d.name), std::ios::binary) << d.text;
    try {
      app.Get("Workbooks").Call("Open", {dir.File(d.name)});
      ADD_FAILURE() << d.name << " opened";
    } catch (const platform::HostError& e) {
      EXPECT_NE(std::string(e.what()).find(dir.File(d.name) + ": "), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find(d.says), std::string::npos) << e.what();
    }
  }
  EXPECT_EQ(app.Get("Workbooks").Get("Count").AsInt(), 1);
}

TEST(SimHostTest, EveryStoreSurvivesSaveAndReopen) {
  TempDir dir;
  const std::string path = dir.File("report.docx");
  {
    auto host = WordHost::Create();
    Variant doc = Variant(host->Application()).Get("Documents").Call("Open", {path});
    doc.Get("CustomDocumentProperties").Call("Add", {"cmsID", false, I{4}, "1234;5"});
    doc.Get("BuiltInDocumentProperties", {I{21}}).Put("Value", Variant("Acme \"Quoted\"\tLtd"));
    doc.Get("Sections").Call("Add");
    Variant s2 = doc.Get("Sections").Get("Item", {I{2}});
    s2.Get("Headers").Get("Item", {I{1}}).Get("Range").Put("Text", Variant("Header two"));
    s2.Get("PageSetup").Put("TopMargin", Variant(50.5));
    s2.Get("PageSetup").Put("DifferentFirstPageHeaderFooter", Variant(true));
    Variant box = doc.Get("Sections").Get("Item", {I{1}}).Get("Footers").Get("Item", {I{1}}).Get("Shapes").Call(
        "AddTextBox", {I{1}, 0.0, 296.0, 612.0, 200.0});
    box.Put("Name", Variant("CMSstamp"));
    box.Get("TextFrame").Get("TextRange").Put("Text", Variant("DRAFT"));
    box.Get("TextFrame").Get("TextRange").Get("Font").Put("Color", Variant(I{255}));
    doc.Get("Content").Get("Fields").Call("Add", {Variant(), I{85}, "DOCPROPERTY cmsID"});
    doc.Call("Protect", {I{2}, true, "ZTRshelter"});
    doc.Call("Save");
    doc.Call("Close");
  }
  auto host = WordHost::Create();
  Variant doc = Variant(host->Application()).Get("Documents").Call("Open", {path});
  EXPECT_EQ(doc.Get("CustomDocumentProperties").Get("Item", {"cmsID"}).Get("Value").AsString(), "1234;5");
  EXPECT_EQ(doc.Get("BuiltInDocumentProperties", {I{21}}).Get("Value").AsString(), "Acme \"Quoted\"\tLtd");
  EXPECT_EQ(doc.Get("Sections").Get("Count").AsInt(), 2);
  Variant s2 = doc.Get("Sections").Get("Item", {I{2}});
  EXPECT_EQ(s2.Get("Headers").Get("Item", {I{1}}).Get("Range").Get("Text").AsString(), "Header two\r");
  EXPECT_DOUBLE_EQ(s2.Get("PageSetup").Get("TopMargin").AsDouble(), 50.5);
  EXPECT_TRUE(s2.Get("Headers").Get("Item", {I{2}}).Get("Exists").AsBool());
  Variant box = doc.Get("Sections").Get("Item", {I{1}}).Get("Headers").Get("Item", {I{1}}).Get("Shapes").Get("Item", {"CMSstamp"});
  EXPECT_EQ(box.Get("TextFrame").Get("TextRange").Get("Text").AsString(), "DRAFT");
  EXPECT_EQ(box.Get("TextFrame").Get("TextRange").Get("Font").Get("Color").AsInt(), 255);
  EXPECT_EQ(doc.Get("Content").Get("Fields").Get("Item", {I{1}}).Get("Result").AsString(), "1234;5");
  EXPECT_EQ(doc.Get("ProtectionType").AsInt(), 2);
  EXPECT_THROW(doc.Call("Unprotect", {"wrong"}), platform::HostError);
  EXPECT_TRUE(doc.Get("Saved").AsBool());
}

TEST(SimHostTest, ExcelPowerPointAndPublisherStoresSurviveSaveAndReopen) {
  TempDir dir;
  {
    auto xl = ExcelHost::Create();
    Variant wb = Variant(xl->Application()).Get("Workbooks").Call("Open", {dir.File("b.xlsx")});
    wb.Get("Names").Call("Add", {"cmsDocName", I{-1}, false}).Put("Value", Variant("'Budget"));
    Variant sheet = wb.Get("Sheets").Get("Item", {I{2}});
    sheet.Get("PageSetup").Put("CenterHeader", Variant("\r&G"));
    sheet.Call("Protect", {"ZTRshelter"});
    wb.Call("Protect", {"ZTRshelter", true});
    wb.Call("Save");

    auto pp = PowerPointHost::Create();
    Variant pres = Variant(pp->Application()).Get("Presentations").Call("Open", {dir.File("p.pptx")});
    pres.Call("AddTitleMaster");
    pres.Get("TitleMaster").Get("Shapes").Call("AddTextBox", {I{1}, 0.0, 170.0, 720.0, 200.0}).Put("Name", Variant("CMSstamp"));
    Variant shape = pres.Get("Slides").Get("Item", {I{1}}).Get("Shapes").Call("AddTextBox", {I{1}, 1.0, 2.0, 3.0, 4.0});
    shape.Put("Name", Variant("cmsRevision"));
    shape.Get("TextFrame").Get("TextRange").Put("Text", Variant("7"));
    pres.Put("Final", Variant(true));
    pres.Call("Save");

    auto pub = PublisherHost::Create();
    Variant pd = Variant(pub->Application()).Get("Documents").Call("Open", {dir.File("f.pub")});
    pd.Get("Tags").Call("Add", {"cmsID", "99"});
    pd.Call("Save");
  }
  auto xl = ExcelHost::Create();
  Variant wb = Variant(xl->Application()).Get("Workbooks").Call("Open", {dir.File("b.xlsx")});
  EXPECT_EQ(wb.Get("Names").Get("Item", {"cmsDocName"}).Get("Value").AsString(), "'Budget");
  EXPECT_EQ(wb.Get("Sheets").Get("Item", {I{2}}).Get("PageSetup").Get("CenterHeader").AsString(), "\r&G");
  EXPECT_TRUE(wb.Get("Sheets").Get("Item", {I{2}}).Get("ProtectContents").AsBool());
  EXPECT_TRUE(wb.Get("ProtectStructure").AsBool());

  auto pp = PowerPointHost::Create();
  Variant pres = Variant(pp->Application()).Get("Presentations").Call("Open", {dir.File("p.pptx")});
  EXPECT_EQ(pres.Get("HasTitleMaster").AsInt(), -1);
  EXPECT_NO_THROW(pres.Get("TitleMaster").Get("Shapes").Get("Item", {"CMSstamp"}));
  EXPECT_EQ(pres.Get("Slides").Get("Item", {I{1}}).Get("Shapes").Get("Item", {"cmsRevision"}).Get("TextFrame").Get("TextRange").Get("Text").AsString(), "7");
  EXPECT_TRUE(pres.Get("Final").AsBool());

  auto pub = PublisherHost::Create();
  Variant pd = Variant(pub->Application()).Get("Documents").Call("Open", {dir.File("f.pub")});
  EXPECT_EQ(pd.Get("Tags").Get("Item", {"cmsID"}).Get("Value").AsString(), "99");
}

TEST(SimHostTest, CallCountsPerObjectAndPerApplication) {
  auto host = WordHost::Create();
  Variant app(host->Application());
  Variant doc = app.Get("Documents").Call("Add");  // 2 calls
  Variant props = doc.Get("CustomDocumentProperties");  // 1
  props.Call("Add", {"cmsID", false, I{4}, "1"});  // 1
  for (int i = 0; i < 3; ++i) props.Get("Item", {"cmsID"});  // 3
  EXPECT_THROW(props.Get("Item", {"missing"}), platform::HostError);  // 1, a failed call counts too
  EXPECT_EQ(CallCountOf(props), 5u);
  EXPECT_EQ(CallCountOf(doc), 1u);
  EXPECT_EQ(CallCountOf(app), 1u);
  EXPECT_EQ(host->TotalCalls(), 8u);
  // The same object comes back, with its count, however it is reached.
  EXPECT_EQ(app.Get("ActiveDocument").Get("CustomDocumentProperties").AsObject(), props.AsObject());
  host->ResetCallCounts();
  EXPECT_EQ(host->TotalCalls(), 0u);
  EXPECT_EQ(CallCountOf(props), 0u);
  props.Get("Count");
  EXPECT_EQ(host->TotalCalls(), 1u);
}

TEST(SimHostTest, VersionIsSettableAndHostsAreChosenByExtension) {
  auto host = PowerPointHost::Create();
  Variant app(host->Application());
  EXPECT_EQ(app.Get("Version").AsString(), "16.0");
  host->version = "14.0";
  EXPECT_EQ(app.Get("Version").AsString(), "14.0");
  struct Case {
    const char* file;
    std::optional<HostType> kind;
  };
  const std::vector<Case> cases = {{"a.DOCX", HostType::ohaWord}, {"b.doc", HostType::ohaWord}, {"t.dotx", HostType::ohaWord},
                                   {"c.xls", HostType::ohaExcel},  {"d.pptx", HostType::ohaPowerPoint},
                                   {"e.pub", HostType::ohaPublisher}, {"f.txt", std::nullopt}, {"dir.docx/noext", std::nullopt}};
  for (const auto& c : cases) EXPECT_EQ(HostKindForFile(c.file), c.kind) << c.file;
}

}  // namespace
}  // namespace quillorn::hostsim
