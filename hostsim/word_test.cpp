#include "hostsim/word.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "hostsim/excel.h"
#include "hostsim/powerpoint.h"
#include "hostsim/publisher.h"

namespace quillorn::hostsim {
namespace {

using I = std::int32_t;

// A temp folder whose File() names a file in it.
struct TempDir : foundation::testing::TempFolder {
  std::string File(const std::string& name) const { return (Path() / name).string(); }
};

// A Word document with two sections whose primary headers and footers have text.
struct WordFixture {
  std::shared_ptr<WordHost> host = WordHost::Create();
  Variant app{host->Application()};
  Variant doc;

  WordFixture() {
    doc = app.Get("Documents").Call("Add");
    doc.Get("Sections").Call("Add");
  }
  Variant Header(int section, int index) const {
    return doc.Get("Sections").Get("Item", {I{section}}).Get("Headers").Get("Item", {I{index}});
  }
  Variant Footer(int section, int index) const {
    return doc.Get("Sections").Get("Item", {I{section}}).Get("Footers").Get("Item", {I{index}});
  }
};

TEST(WordHostTest, RaisesWhereWordRaises) {
  struct Case {
    const char* what;
    std::function<void(WordFixture&)> call;
  };
  const std::vector<Case> cases = {
      {"missing custom property", [](WordFixture& f) { f.doc.Get("CustomDocumentProperties").Get("Item", {"cmsID"}); }},
      {"missing property as method", [](WordFixture& f) { f.doc.Get("CustomDocumentProperties").Call("Item", {"x"}); }},
      {"unprotect when not protected", [](WordFixture& f) { f.doc.Call("Unprotect", {"ZTRshelter"}); }},
      {"unprotect with wrong password",
       [](WordFixture& f) {
         f.doc.Call("Protect", {I{2}, true, "other"});
         f.doc.Call("Unprotect", {"ZTRshelter"});
       }},
      {"protect twice",
       [](WordFixture& f) {
         f.doc.Call("Protect", {I{2}, true, "ZTRshelter"});
         f.doc.Call("Protect", {I{2}, true, "ZTRshelter"});
       }},
      {"primary header story never written", [](WordFixture& f) { f.doc.Get("StoryRanges").Get("Item", {I{7}}); }},
      {"footnote story", [](WordFixture& f) { f.doc.Get("StoryRanges").Get("Item", {I{2}}); }},
      {"story type 17", [](WordFixture& f) { f.doc.Get("StoryRanges").Get("Item", {I{17}}); }},
      {"missing shape by name",
       [](WordFixture& f) { f.Footer(1, 1).Get("Shapes").Get("Item", {"CMSstamp"}); }},
      {"shape index past the end", [](WordFixture& f) { f.Footer(1, 1).Get("Shapes").Get("Item", {I{1}}); }},
      {"section 0", [](WordFixture& f) { f.doc.Get("Sections").Get("Item", {I{0}}); }},
      {"section 3 of 2", [](WordFixture& f) { f.doc.Get("Sections").Get("Item", {I{3}}); }},
      {"header index 4", [](WordFixture& f) { f.Header(1, 4); }},
      {"table of contents 1 of 0", [](WordFixture& f) { f.doc.Get("TablesOfContents").Get("Item", {I{1}}); }},
      {"document 2 of 1", [](WordFixture& f) { f.app.Get("Documents").Get("Item", {I{2}}); }},
      {"document by unknown name", [](WordFixture& f) { f.app.Get("Documents").Get("Item", {"nothing.docx"}); }},
      {"unknown member", [](WordFixture& f) { f.doc.Get("NoSuchMember"); }},
      {"read-only member written", [](WordFixture& f) { f.doc.Put("FullName", Variant("x")); }},
      {"deleted shape used",
       [](WordFixture& f) {
         Variant shape = f.Footer(1, 1).Get("Shapes").Call("AddTextBox", {I{1}, 0.0, 0.0, 10.0, 10.0});
         shape.Call("Delete");
         shape.Get("Name");
       }},
      {"closed document used",
       [](WordFixture& f) {
         Variant d = f.doc;
         d.Call("Close", {I{0}});
         d.Get("Name");
       }},
      {"active document with none open",
       [](WordFixture& f) {
         f.doc.Call("Close", {I{0}});
         f.app.Get("ActiveDocument");
       }},
      {"application after quit",
       [](WordFixture& f) {
         f.app.Call("Quit");
         f.app.Get("Version");
       }},
  };
  for (const auto& c : cases) {
    WordFixture f;
    EXPECT_THROW(c.call(f), platform::HostError) << c.what;
  }
}

TEST(WordHostTest, MemberNamesIgnoreCaseAndItemIsPropertyAndMethod) {
  WordFixture f;
  f.doc.Get("customdocumentproperties").Call("ADD", {"cmsID", false, I{4}, "42"});
  EXPECT_EQ(f.doc.Get("CustomDocumentProperties").Get("Item", {"CMSID"}).Get("value").AsString(), "42");
  EXPECT_EQ(f.doc.Get("CustomDocumentProperties").Call("item", {"cmsID"}).Get("Value").AsString(), "42");
  EXPECT_EQ(f.doc.Get("BuiltInDocumentProperties", {I{21}}).Get("Name").AsString(), "Company");
}

TEST(WordHostTest, ProtectionWithAnotherPasswordStaysProtected) {
  WordFixture f;
  EXPECT_EQ(f.doc.Get("ProtectionType").AsInt(), -1);
  f.doc.Call("Protect", {I{2}, true, "someone else's"});
  EXPECT_EQ(f.doc.Get("ProtectionType").AsInt(), 2);
  EXPECT_THROW(f.doc.Call("Unprotect", {"ZTRshelter"}), platform::HostError);
  EXPECT_EQ(f.doc.Get("ProtectionType").AsInt(), 2);
  f.doc.Call("Unprotect", {"someone else's"});
  EXPECT_EQ(f.doc.Get("ProtectionType").AsInt(), -1);
}

TEST(WordHostTest, NextStoryRangeChainsSectionsHeadersAndEndsInNothing) {
  WordFixture f;
  f.Header(1, 1).Get("Range").Put("Text", Variant("first header"));
  f.Header(2, 1).Get("Range").Put("Text", Variant("second header"));
  f.Footer(1, 1).Get("Range").Put("Text", Variant("first footer"));
  f.Footer(2, 1).Get("Range").Put("Text", Variant("second footer"));
  struct Case {
    int story_type;
    std::vector<std::string> texts;
  };
  const std::vector<Case> cases = {
      {7, {"first header\r", "second header\r"}},
      {9, {"first footer\r", "second footer\r"}},
      {1, {"\r"}},
  };
  for (const auto& c : cases) {
    Variant range = f.doc.Get("StoryRanges").Get("Item", {I{c.story_type}});
    std::vector<std::string> seen;
    for (int guard = 0; guard < 10 && range.HasObject(); ++guard) {
      EXPECT_EQ(range.Get("StoryType").AsInt(), c.story_type);
      seen.push_back(range.Get("Text").AsString());
      range = range.Get("NextStoryRange");
    }
    EXPECT_EQ(seen, c.texts) << "story " << c.story_type;
  }
  // First-page footers were never written: that story does not exist.
  EXPECT_THROW(f.doc.Get("StoryRanges").Get("Item", {I{11}}), platform::HostError);
}

TEST(WordHostTest, HeaderShapesSeeEveryHeaderAndFooterButAddToTheirOwn) {
  WordFixture f;
  Variant footer_shapes = f.Footer(1, 1).Get("Shapes");
  Variant stamp = footer_shapes.Call("AddTextBox", {I{1}, 0.0, 296.0, 612.0, 200.0});
  stamp.Put("Name", Variant("CMSstamp"));
  f.Header(2, 1).Get("Shapes").Call("AddTextBox", {I{1}, 0.0, 0.0, 50.0, 25.0}).Put("Name", Variant("qllogo1"));
  Variant header_shapes = f.Header(1, 1).Get("Shapes");
  EXPECT_EQ(header_shapes.Get("Count").AsInt(), 2);
  EXPECT_EQ(header_shapes.Get("Item", {"qllogo1"}).Get("Height").AsDouble(), 25.0);
  // The footer story has exactly its own shape in its range.
  Variant footer_range = f.doc.Get("StoryRanges").Get("Item", {I{9}});
  EXPECT_EQ(footer_range.Get("ShapeRange").Get("Count").AsInt(), 1);
  footer_shapes.Get("Item", {"cmsstamp"}).Call("Delete");
  EXPECT_EQ(header_shapes.Get("Count").AsInt(), 1);
}

TEST(WordHostTest, FormattedTextCopiesAHeaderAndTheLastCharacterDeleteTidiesIt) {
  WordFixture f;
  Variant source = f.Header(1, 1).Get("Range");
  source.Put("Text", Variant("Acme Ltd"));
  f.Header(1, 1).Get("Range").Get("Fields").Call("Add", {Variant(), I{85}, "DOCPROPERTY \"cmsRevision\""});
  Variant kept = source.Get("Duplicate");
  Variant target = f.Header(2, 1).Get("Range");
  target.Put("FormattedText", kept.Get("FormattedText"));
  Variant chars = target.Get("Characters");
  chars.Get("Item", {I{chars.Get("Count").AsInt()}}).Call("Delete");
  EXPECT_EQ(f.Header(2, 1).Get("Range").Get("Text").AsString(), "Acme Ltd\r");
  EXPECT_EQ(f.Header(2, 1).Get("Range").Get("Fields").Get("Count").AsInt(), 1);
}

TEST(WordHostTest, OpenWithoutWindowLeavesTheActiveDocument) {
  struct Case {
    const char* what;
    Variant visible;  // the twelfth argument; Empty leaves it out
    bool new_one_active;
  };
  const std::vector<Case> cases = {
      {"Visible false", Variant(false), false},
      {"Visible true", Variant(true), true},
      {"Visible left out", Variant(), true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    TempDir dir;
    WordFixture f;
    std::vector<Variant> args(12);
    args[0] = Variant(dir.File("template.dotx"));
    args[11] = c.visible;
    Variant opened = f.app.Get("Documents").CallWith("Open", args);
    EXPECT_EQ(f.app.Get("Documents").Get("Count").AsInt(), 2);
    const std::string active = f.app.Get("ActiveDocument").Get("FullName").AsString();
    EXPECT_EQ(active == opened.Get("FullName").AsString(), c.new_one_active);
    opened.Call("Close", {I{0}});
    EXPECT_EQ(f.app.Get("ActiveDocument").Get("FullName").AsString(), f.doc.Get("FullName").AsString());
  }
}

TEST(WordHostTest, FieldUpdateReadsTheDocumentProperty) {
  WordFixture f;
  f.doc.Get("CustomDocumentProperties").Call("Add", {"cmsRevision", false, I{4}, "3"});
  Variant fields = f.doc.Get("Content").Get("Fields");
  fields.Call("Add", {Variant(), I{85}, "DOCPROPERTY \"cmsRevision\" \\* MERGEFORMAT"});
  fields.Call("Add", {Variant(), I{33}, "PAGE"});
  f.doc.Get("CustomDocumentProperties").Get("Item", {"cmsRevision"}).Put("value", Variant("4"));
  for (int i = 1; i <= 2; ++i) {
    Variant field = fields.Get("Item", {I{i}});
    if (field.Get("Type").AsInt() == 85) field.Call("Update");
  }
  EXPECT_EQ(fields.Get("Item", {I{1}}).Get("Result").AsString(), "4");
  EXPECT_EQ(fields.Get("Item", {I{2}}).Get("Result").AsString(), "");
}

TEST(WordHostTest, TouchingTheContentLeavesTextButClearsSaved) {
  WordFixture f;
  Variant content = f.doc.Get("Content");
  content.Put("Text", Variant("Body text"));
  f.doc.Put("Saved", Variant(true));
  f.doc.Get("Content").Call("InsertAfter", {" "});
  const int end = f.doc.Get("Content").Get("End").AsInt();
  f.doc.Call("Range", {I{end - 2}, I{end}}).Call("Delete", {I{1}, I{1}});
  EXPECT_EQ(f.doc.Get("Content").Get("Text").AsString(), "Body text\r");
  EXPECT_FALSE(f.doc.Get("Saved").AsBool());
}

TEST(WordHostTest, AnyChangeClearsSavedAndSettingsDoNot) {
  struct Case {
    const char* what;
    std::function<void(WordFixture&)> act;
    bool changes;
  };
  const std::vector<Case> cases = {
      {"add property", [](WordFixture& f) { f.doc.Get("CustomDocumentProperties").Call("Add", {"a", false, I{4}, "1"}); }, true},
      {"company", [](WordFixture& f) { f.doc.Get("BuiltInDocumentProperties", {I{21}}).Put("Value", Variant("Acme")); }, true},
      {"protect", [](WordFixture& f) { f.doc.Call("Protect", {I{2}, true, "p"}); }, true},
      {"track revisions", [](WordFixture& f) { f.doc.Put("TrackRevisions", Variant(true)); }, true},
      {"margin", [](WordFixture& f) { f.doc.Get("Sections").Get("Item", {I{1}}).Get("PageSetup").Put("TopMargin", Variant(10.0)); }, true},
      {"text box", [](WordFixture& f) { f.Footer(1, 1).Get("Shapes").Call("AddTextBox", {I{1}, 0.0, 0.0, 1.0, 1.0}); }, true},
      {"link to previous", [](WordFixture& f) { f.Header(2, 2).Put("LinkToPrevious", Variant(false)); }, true},
      {"styles", [](WordFixture& f) { f.doc.Call("CopyStylesFromTemplate", {"t.dotx"}); }, true},
      {"read properties", [](WordFixture& f) { f.doc.Get("Sections").Get("Count"); f.doc.Get("ProtectionType"); }, false},
      {"status bar", [](WordFixture& f) { f.app.Put("StatusBar", Variant("busy")); f.app.Put("ScreenUpdating", Variant(false)); }, false},
      {"revisions view", [](WordFixture& f) { f.doc.Get("ActiveWindow").Get("View").Put("RevisionsView", Variant(I{0})); }, false},
  };
  for (const auto& c : cases) {
    WordFixture f;
    f.doc.Put("Saved", Variant(true));
    c.act(f);
    EXPECT_EQ(f.doc.Get("Saved").AsBool(), !c.changes) << c.what;
  }
}

// One new document in each of the other hosts.
struct OtherHosts {
  std::shared_ptr<ExcelHost> excel = ExcelHost::Create();
  std::shared_ptr<PowerPointHost> powerpoint = PowerPointHost::Create();
  std::shared_ptr<PublisherHost> publisher = PublisherHost::Create();
  Variant book = Variant(excel->Application()).Get("Workbooks").Call("Add");
  Variant pres = Variant(powerpoint->Application()).Get("Presentations").Call("Add");
  Variant pub = Variant(publisher->Application()).Get("Documents").Call("Add");
};

TEST(OtherHostsTest, RaiseWhereTheirHostsRaise) {
  struct Case {
    const char* what;
    std::function<void(OtherHosts&)> call;
  };
  const std::vector<Case> cases = {
      {"publisher missing tag", [](OtherHosts& h) { h.pub.Get("Tags").Get("Item", {"cmsID"}); }},
      {"excel sheet 4 of 3", [](OtherHosts& h) { h.book.Get("Worksheets").Get("Item", {I{4}}); }},
      {"excel sheet wrong password",
       [](OtherHosts& h) {
         Variant sheet = h.book.Get("Sheets").Get("Item", {I{1}});
         sheet.Call("Protect", {"a"});
         sheet.Call("Unprotect", {"b"});
       }},
      {"excel workbook wrong password",
       [](OtherHosts& h) {
         h.book.Call("Protect", {"a", true});
         h.book.Call("Unprotect", {"b"});
       }},
      {"excel missing name", [](OtherHosts& h) { h.book.Get("Names").Get("Item", {"cmsDocName"}); }},
      {"powerpoint title master before one is added", [](OtherHosts& h) { h.pres.Get("TitleMaster"); }},
      {"powerpoint slide 2 of 1", [](OtherHosts& h) { h.pres.Get("Slides").Get("Item", {I{2}}); }},
      {"powerpoint missing master shape",
       [](OtherHosts& h) { h.pres.Get("SlideMaster").Get("Shapes").Get("Item", {"CMSstamp2"}); }},
  };
  for (const auto& c : cases) {
    OtherHosts hosts;
    EXPECT_THROW(c.call(hosts), platform::HostError) << c.what;
  }
}

TEST(OtherHostsTest, ExcelNamesAddReplacesAndUnprotectForgivesTheUnprotected) {
  auto h = ExcelHost::Create();
  Variant wb = Variant(h->Application()).Get("Workbooks").Call("Add");
  Variant names = wb.Get("Names");
  names.Call("Add", {"cmsRevision", I{-1}, false}).Put("Value", Variant("'1"));
  names.Call("Add", {"cmsRevision", I{-1}, false}).Put("Value", Variant("'2"));
  EXPECT_EQ(names.Get("Count").AsInt(), 1);
  EXPECT_EQ(names.Get("Item", {"cmsrevision"}).Get("Value").AsString(), "'2");
  EXPECT_FALSE(names.Get("Item", {"cmsRevision"}).Get("Visible").AsBool());

  Variant sheet = wb.Get("Worksheets").Get("Item", {I{1}});
  sheet.Call("Protect", {"ZTRshelter"});
  EXPECT_NO_THROW(wb.Call("Unprotect", {"ZTRshelter"}));
  EXPECT_FALSE(wb.Get("ProtectStructure").AsBool());
  sheet.Call("Unprotect", {"ZTRshelter"});
  EXPECT_FALSE(sheet.Get("ProtectContents").AsBool());
  EXPECT_NO_THROW(sheet.Call("Unprotect", {"anything"}));
}

}  // namespace
}  // namespace quillorn::hostsim
