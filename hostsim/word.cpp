// Word's object model over the plain document. Story types follow Word's
// numbering: 1 main text, 6..11 the even, primary and first-page headers and
// footers; only these exist in a simulated document.
#include "hostsim/word.h"

#include <algorithm>

#include "hostsim/app_objects.h"
#include "hostsim/office_objects.h"

namespace quillorn::hostsim {
namespace {

constexpr int kMainTextStory = 1;

Variant WordBool(bool b) { return Variant(b ? std::int32_t{-1} : std::int32_t{0}); }

// Header and footer stories: which list and which slot of a section.
struct StorySlot {
  bool header;
  int index;  // 0 primary, 1 first page, 2 even pages
};

bool SlotOf(int story_type, StorySlot& slot) {
  switch (story_type) {
    case 6: slot = {true, 2}; return true;
    case 7: slot = {true, 0}; return true;
    case 8: slot = {false, 2}; return true;
    case 9: slot = {false, 0}; return true;
    case 10: slot = {true, 1}; return true;
    case 11: slot = {false, 1}; return true;
    default: return false;
  }
}

int StoryTypeOf(bool header, int index) {
  static const int kHeader[] = {7, 10, 6};
  static const int kFooter[] = {9, 11, 8};
  return header ? kHeader[index] : kFooter[index];
}

HeaderFooterModel& SlotIn(SectionModel& s, const StorySlot& slot) {
  return slot.header ? s.headers[static_cast<std::size_t>(slot.index)] : s.footers[static_cast<std::size_t>(slot.index)];
}

// All header and footer shape lists of a document, as a header's Shapes sees them.
std::vector<ShapeList*> AllHeaderFooterShapes(DocumentModel& doc) {
  std::vector<ShapeList*> out;
  for (auto& s : doc.sections) {
    for (auto& hf : s->headers) out.push_back(&hf.story.shapes);
    for (auto& hf : s->footers) out.push_back(&hf.story.shapes);
  }
  return out;
}

std::vector<ShapeList*> AllBodyShapes(DocumentModel& doc) {
  std::vector<ShapeList*> out;
  for (auto& s : doc.sections) out.push_back(&s->body_shapes);
  return out;
}

// A stretch of one story. `end` < 0 means up to the story's end, so that a
// range over a whole story grows with it.
struct RangeBounds {
  StoryModel* story = nullptr;
  HeaderFooterModel* hf = nullptr;  // set for header and footer stories
  int story_type = kMainTextStory;
  int section = -1;  // set for a section's range and for header/footer stories
  long start = 0;
  long end = -1;
};

ObjectRef MakeRange(SimHost& host, const std::shared_ptr<DocumentModel>& doc, RangeBounds bounds);

class RangeObject : public SimObject {
 public:
  RangeObject(SimHost& host, std::shared_ptr<DocumentModel> doc, RangeBounds bounds) : SimObject("Range"), r_(bounds) {
    auto text_end = [this]() { return static_cast<long>(r_.story->text.size()); };
    auto lo = [this, text_end]() { return std::clamp(r_.start, 0L, text_end()); };
    auto hi = [this, text_end, lo]() { return r_.end < 0 ? text_end() : std::clamp(r_.end, lo(), text_end()); };
    auto touched = [this]() {
      if (r_.hf) r_.hf->created = true;
      // Word keeps a paragraph mark at the end of every story.
      if (r_.story->text.empty() || r_.story->text.back() != '\r') r_.story->text += '\r';
    };
    Prop("Text", [this, lo, hi](Args) { return Variant(r_.story->text.substr(lo(), hi() - lo())); },
         [this, lo, hi, touched](Args, const Variant& v) {
           r_.story->text.replace(lo(), hi() - lo(), v.AsString());
           touched();
         });
    Prop("Start", [lo](Args) { return Variant(static_cast<std::int32_t>(lo())); });
    Prop("End", [hi](Args) { return Variant(static_cast<std::int32_t>(hi())); });
    Prop("StoryType", [this](Args) { return Variant(std::int32_t{r_.story_type}); });
    Method("WholeStory", [this](Args) {
      r_.start = 0;
      r_.end = -1;
      return Variant();
    }, false);
    Prop("NextStoryRange", [this, &host, doc](Args) {
      StorySlot slot{};
      if (!SlotOf(r_.story_type, slot)) return Variant(ObjectRef{});
      for (std::size_t i = static_cast<std::size_t>(r_.section + 1); i < doc->sections.size(); ++i) {
        auto& hf = SlotIn(*doc->sections[i], slot);
        if (hf.created) {
          return Variant(MakeRange(host, doc, {&hf.story, &hf, r_.story_type, static_cast<int>(i), 0, -1}));
        }
      }
      return Variant(ObjectRef{});
    });
    Prop("Fields", [this, &host, doc](Args) { return Variant(FieldsRef(host, doc, &r_.story->fields)); });
    Prop("ShapeRange", [this, &host, doc](Args) {
      if (r_.story_type != kMainTextStory) return Variant(ShapesRef(host, doc, &r_.story->shapes));
      if (r_.section >= 0) {
        return Variant(ShapesRef(host, doc, &doc->sections[static_cast<std::size_t>(r_.section)]->body_shapes));
      }
      DocumentModel* d = doc.get();
      return Variant(ShapesRef(host, doc, &doc->sections.front()->body_shapes, [d] { return AllBodyShapes(*d); },
                               "allbody"));
    });
    Prop("Duplicate", [this, &host, doc](Args) { return Variant(MakeRange(host, doc, r_)); });
    Prop("FormattedText", [this, &host, doc](Args) { return Variant(MakeRange(host, doc, r_)); },
         [this, lo, hi, touched](Args, const Variant& v) {
           auto* src = dynamic_cast<RangeObject*>(v.AsObject().get());
           if (!src) RaiseHost("Type mismatch: FormattedText takes a range.");
           const RangeBounds& s = src->r_;
           long s_lo = std::clamp(s.start, 0L, static_cast<long>(s.story->text.size()));
           long s_hi = s.end < 0 ? static_cast<long>(s.story->text.size()) : std::clamp(s.end, s_lo, static_cast<long>(s.story->text.size()));
           std::string text = s.story->text.substr(s_lo, s_hi - s_lo);
           std::vector<FieldModel> fields = s.story->fields;
           ShapeList shapes;
           for (const auto& sh : s.story->shapes) shapes.push_back(std::make_shared<ShapeModel>(*sh));
           long a = lo();
           long b = hi();
           // The story's own final mark stays; the copied text goes before it.
           if (b == static_cast<long>(r_.story->text.size()) && b > a) --b;
           r_.story->text.replace(a, b - a, text);
           if (s.start <= 0 && s.end < 0) {
             if (a == 0 && r_.end < 0) {
               r_.story->fields.clear();
               r_.story->shapes.clear();
             }
             r_.story->fields.insert(r_.story->fields.end(), fields.begin(), fields.end());
             r_.story->shapes.insert(r_.story->shapes.end(), shapes.begin(), shapes.end());
           }
           touched();
         });
    Prop("Characters", [this, &host, doc, lo, hi](Args) {
      return Variant(host.Fresh<CharactersObject>(doc, host, doc, r_, lo(), hi()));
    });
    Method("Delete", [this, lo, hi, touched](Args) {
      long a = lo();
      long b = hi();
      const long size = static_cast<long>(r_.story->text.size());
      // The final paragraph mark can't go; deleting it removes the empty paragraph before it.
      if (b == size && a == size - 1 && a > 0 && r_.story->text[static_cast<std::size_t>(a - 1)] == '\r') {
        --a;
        --b;
      }
      r_.story->text.erase(a, b - a);
      touched();
      return Variant(static_cast<std::int32_t>(b - a));
    });
    Method("InsertAfter", [this, hi, touched](Args a) {
      r_.story->text.insert(static_cast<std::size_t>(hi()), Arg(a, 0).AsString());
      touched();
      return Variant();
    });
    Method("InsertBefore", [this, lo, touched](Args a) {
      r_.story->text.insert(static_cast<std::size_t>(lo()), Arg(a, 0).AsString());
      touched();
      return Variant();
    });
  }

 private:
  class CharactersObject : public SimObject {
   public:
    CharactersObject(SimHost& host, std::shared_ptr<DocumentModel> doc, RangeBounds r, long lo, long hi)
        : SimObject("Characters") {
      Prop("Count", [lo, hi](Args) { return Variant(static_cast<std::int32_t>(hi - lo)); });
      Prop("Item", [&host, doc, r, lo, hi](Args a) {
        long i = static_cast<long>(IndexArg(Arg(a, 0), static_cast<std::size_t>(hi - lo), "Characters.Item"));
        RangeBounds c = r;
        c.start = lo + i;
        c.end = lo + i + 1;
        return Variant(MakeRange(host, doc, c));
      });
    }
  };

  RangeBounds r_;
};

ObjectRef MakeRange(SimHost& host, const std::shared_ptr<DocumentModel>& doc, RangeBounds bounds) {
  return host.Fresh<RangeObject>(doc, host, doc, bounds);
}

class PageSetupObject : public SimObject {
 public:
  // `sections` empty: one section's setup. Otherwise the document's: reads
  // from the first section and writes to all.
  PageSetupObject(std::shared_ptr<DocumentModel> doc, int section) : SimObject("PageSetup") {
    auto targets = [doc, section]() {
      std::vector<PageSetupModel*> out;
      if (section >= 0) {
        out.push_back(&doc->sections[static_cast<std::size_t>(section)]->page_setup);
      } else {
        for (auto& s : doc->sections) out.push_back(&s->page_setup);
      }
      return out;
    };
    auto number = [this, targets](std::string_view name, double PageSetupModel::*field) {
      Prop(name, [targets, field](Args) { return Variant(static_cast<double>(static_cast<float>(targets().front()->*field))); },
           [targets, field](Args, const Variant& v) {
             for (auto* t : targets()) t->*field = static_cast<float>(v.AsDouble());
           });
    };
    number("TopMargin", &PageSetupModel::top_margin);
    number("BottomMargin", &PageSetupModel::bottom_margin);
    number("LeftMargin", &PageSetupModel::left_margin);
    number("RightMargin", &PageSetupModel::right_margin);
    number("HeaderDistance", &PageSetupModel::header_distance);
    number("FooterDistance", &PageSetupModel::footer_distance);
    number("PageHeight", &PageSetupModel::page_height);
    number("PageWidth", &PageSetupModel::page_width);
    Prop("DifferentFirstPageHeaderFooter", [targets](Args) { return WordBool(targets().front()->different_first_page); },
         [targets](Args, const Variant& v) {
           for (auto* t : targets()) t->different_first_page = v.AsBool();
         });
  }
};

class HeaderFooterObject : public SimObject {
 public:
  HeaderFooterObject(SimHost& host, std::shared_ptr<DocumentModel> doc, int section, bool header, int index)
      : SimObject(header ? "Header" : "Footer") {
    auto sec = [doc, section]() -> SectionModel& { return *doc->sections[static_cast<std::size_t>(section)]; };
    auto hf = [sec, header, index]() -> HeaderFooterModel& {
      return header ? sec().headers[static_cast<std::size_t>(index)] : sec().footers[static_cast<std::size_t>(index)];
    };
    Prop("Index", [index](Args) { return Variant(std::int32_t{index + 1}); });
    Prop("IsHeader", [header](Args) { return WordBool(header); });
    Prop("Exists", [sec, index](Args) {
      if (index == 0) return WordBool(true);
      if (index == 1) return WordBool(sec().page_setup.different_first_page);
      return WordBool(false);
    });
    Prop("LinkToPrevious", [hf](Args) { return WordBool(hf().link_to_previous); },
         [hf, section](Args, const Variant& v) {
           if (section > 0) hf().link_to_previous = v.AsBool();
         });
    Prop("Range", [&host, doc, hf, section, header, index](Args) {
      auto& h = hf();
      return Variant(MakeRange(host, doc, {&h.story, &h, StoryTypeOf(header, index), section, 0, -1}));
    });
    Prop("Shapes", [&host, doc, hf](Args) {
      auto& h = hf();
      h.created = true;
      DocumentModel* d = doc.get();
      return Variant(ShapesRef(host, doc, &h.story.shapes, [d] { return AllHeaderFooterShapes(*d); }, "allheaderfooter"));
    });
  }
};

class HeadersFootersObject : public SimObject {
 public:
  HeadersFootersObject(SimHost& host, std::shared_ptr<DocumentModel> doc, int section, bool header)
      : SimObject("HeadersFooters") {
    Prop("Count", [](Args) { return Variant(std::int32_t{3}); });
    Prop("Item", [&host, doc, section, header](Args a) {
      auto i = static_cast<int>(IndexArg(Arg(a, 0), 3, "HeadersFooters.Item"));
      auto* node = header ? &doc->sections[static_cast<std::size_t>(section)]->headers[static_cast<std::size_t>(i)]
                          : &doc->sections[static_cast<std::size_t>(section)]->footers[static_cast<std::size_t>(i)];
      return Variant(host.Cached<HeaderFooterObject>(node, "hf", doc, host, doc, section, header, i));
    });
  }
};

class SectionObject : public SimObject {
 public:
  SectionObject(SimHost& host, std::shared_ptr<DocumentModel> doc, int section) : SimObject("Section") {
    const void* node = doc->sections[static_cast<std::size_t>(section)].get();
    Prop("Index", [section](Args) { return Variant(std::int32_t{section + 1}); });
    Prop("Headers", [&host, doc, section, node](Args a) {
      auto hfs = host.Cached<HeadersFootersObject>(node, "headers", doc, host, doc, section, true);
      return HasArg(a, 0) ? hfs->GetProperty("Item", a) : Variant(hfs);
    });
    Prop("Footers", [&host, doc, section, node](Args a) {
      auto hfs = host.Cached<HeadersFootersObject>(node, "footers", doc, host, doc, section, false);
      return HasArg(a, 0) ? hfs->GetProperty("Item", a) : Variant(hfs);
    });
    Prop("PageSetup", [&host, doc, section, node](Args) {
      return Variant(host.Cached<PageSetupObject>(node, "pagesetup", doc, doc, section));
    });
    Prop("Range", [&host, doc, section](Args) {
      return Variant(MakeRange(host, doc, {&doc->main_story, nullptr, kMainTextStory, section, 0, -1}));
    });
  }
};

class SectionsObject : public SimObject {
 public:
  SectionsObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Sections") {
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->sections.size())); });
    Prop("Item", [&host, doc](Args a) {
      auto i = IndexArg(Arg(a, 0), doc->sections.size(), "Sections.Item");
      return Variant(host.Cached<SectionObject>(doc->sections[i].get(), "section", doc, host, doc, static_cast<int>(i)));
    });
    Prop("First", [this](Args) { return GetProperty("Item", std::vector<Variant>{Variant(std::int32_t{1})}); });
    Method("Add", [&host, doc](Args) {
      auto s = std::make_shared<SectionModel>();
      s->page_setup = doc->sections.back()->page_setup;
      for (auto& h : s->headers) h.link_to_previous = true;
      for (auto& f : s->footers) f.link_to_previous = true;
      doc->sections.push_back(s);
      return Variant(host.Cached<SectionObject>(s.get(), "section", doc, host, doc,
                                                static_cast<int>(doc->sections.size() - 1)));
    });
  }
};

class StoryRangesObject : public SimObject {
 public:
  StoryRangesObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("StoryRanges") {
    auto present = [doc]() {
      std::vector<int> types{kMainTextStory};
      for (int t = 6; t <= 11; ++t) {
        StorySlot slot{};
        SlotOf(t, slot);
        for (auto& s : doc->sections) {
          if (SlotIn(*s, slot).created) {
            types.push_back(t);
            break;
          }
        }
      }
      return types;
    };
    Prop("Count", [present](Args) { return Variant(static_cast<std::int32_t>(present().size())); });
    Prop("Item", [&host, doc](Args a) {
      const int type = Arg(a, 0).AsInt();
      if (type == kMainTextStory) return Variant(MakeRange(host, doc, {&doc->main_story, nullptr, type, -1, 0, -1}));
      StorySlot slot{};
      if (SlotOf(type, slot)) {
        for (std::size_t i = 0; i < doc->sections.size(); ++i) {
          auto& hf = SlotIn(*doc->sections[i], slot);
          if (hf.created) return Variant(MakeRange(host, doc, {&hf.story, &hf, type, static_cast<int>(i), 0, -1}));
        }
      }
      RaiseHost("The requested member of the collection does not exist.");
    });
  }
};

class TableOfContentsObject : public SimObject {
 public:
  TableOfContentsObject(std::shared_ptr<DocumentModel> doc, std::size_t i) : SimObject("TableOfContents") {
    Method("Update", [doc, i](Args) {
      if (i >= doc->tables_of_contents.size()) RaiseHost("The object has been deleted.");
      ++doc->tables_of_contents[i].updates;
      return Variant();
    });
  }
};

class TablesOfContentsObject : public SimObject {
 public:
  TablesOfContentsObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("TablesOfContents") {
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->tables_of_contents.size())); });
    Prop("Item", [&host, doc](Args a) {
      auto i = IndexArg(Arg(a, 0), doc->tables_of_contents.size(), "TablesOfContents.Item");
      return Variant(host.Cached<TableOfContentsObject>(&doc->tables_of_contents, "toc" + std::to_string(i), doc, doc, i));
    });
  }
};

class RevisionsObject : public SimObject {
 public:
  explicit RevisionsObject(std::shared_ptr<DocumentModel> doc) : SimObject("Revisions") {
    Prop("Count", [doc](Args) { return Variant(std::int32_t{doc->revisions}); });
    Method("AcceptAll", [doc](Args) {
      doc->revisions = 0;
      return Variant();
    });
  }
};

class WordDocumentObject : public DocumentBase {
 public:
  WordDocumentObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : DocumentBase(host, doc, "Document") {
    Prop("Sections", [&host, doc](Args a) {
      auto s = host.Cached<SectionsObject>(doc.get(), "Sections", doc, host, doc);
      return HasArg(a, 0) ? s->GetProperty("Item", a) : Variant(s);
    });
    Prop("StoryRanges", [&host, doc](Args a) {
      auto s = host.Cached<StoryRangesObject>(doc.get(), "StoryRanges", doc, host, doc);
      return HasArg(a, 0) ? s->GetProperty("Item", a) : Variant(s);
    });
    Prop("TablesOfContents", [&host, doc](Args) {
      return Variant(host.Cached<TablesOfContentsObject>(doc.get(), "TablesOfContents", doc, host, doc));
    });
    Prop("PageSetup", [&host, doc](Args) { return Variant(host.Cached<PageSetupObject>(doc.get(), "PageSetup", doc, doc, -1)); });
    Prop("Content", [&host, doc](Args) {
      return Variant(MakeRange(host, doc, {&doc->main_story, nullptr, kMainTextStory, -1, 0, -1}));
    });
    Method("Range", [&host, doc](Args a) {
      long start = HasArg(a, 0) ? Arg(a, 0).AsInt() : 0;
      long end = HasArg(a, 1) ? Arg(a, 1).AsInt() : start;
      const long size = static_cast<long>(doc->main_story.text.size());
      if (start < 0 || end < start || start > size) RaiseHost("Value out of range");
      return Variant(MakeRange(host, doc, {&doc->main_story, nullptr, kMainTextStory, -1, start, std::min(end, size)}));
    }, false);
    Prop("Fields", [&host, doc](Args) { return Variant(FieldsRef(host, doc, &doc->main_story.fields)); });
    Prop("Shapes", [&host, doc](Args) {
      DocumentModel* d = doc.get();
      return Variant(ShapesRef(host, doc, &doc->sections.front()->body_shapes, [d] { return AllBodyShapes(*d); },
                               "allbody"));
    });
    Prop("ProtectionType", [doc](Args) { return Variant(std::int32_t{doc->protection_type}); });
    Method("Protect", [doc](Args a) {
      if (doc->protection_type != -1) RaiseHost("The document is already protected.");
      const int type = Arg(a, 0).AsInt();
      if (type < 0 || type > 3) RaiseHost("Value out of range");
      doc->protection_type = type;
      doc->protection_password = Arg(a, 2).AsString();
      return Variant();
    });
    Method("Unprotect", [doc](Args a) {
      if (doc->protection_type == -1) RaiseHost("The Unprotect method or property is not available because this document is not protected.");
      if (Arg(a, 0).AsString() != doc->protection_password) RaiseHost("The password is incorrect.");
      doc->protection_type = -1;
      doc->protection_password.clear();
      return Variant();
    });
    Prop("TrackRevisions", [doc](Args) { return Variant(doc->track_revisions); },
         [doc](Args, const Variant& v) { doc->track_revisions = v.AsBool(); });
    Prop("Revisions", [&host, doc](Args) { return Variant(host.Cached<RevisionsObject>(doc.get(), "Revisions", doc, doc)); });
    Method("AcceptAllRevisions", [doc](Args) {
      doc->revisions = 0;
      return Variant();
    });
    Method("CopyStylesFromTemplate", [doc](Args a) {
      const std::string file = Arg(a, 0).AsString();
      if (file.empty()) RaiseHost("CopyStylesFromTemplate needs a template.");
      doc->style_templates.push_back(file);
      return Variant();
    });
  }
};

class InlineShapesObject : public SimObject {
 public:
  explicit InlineShapesObject(StoryModel* story) : SimObject("InlineShapes") {
    Prop("Count", [story](Args) { return Variant(static_cast<std::int32_t>(story->inline_pictures.size())); });
    Method("AddPicture", [story](Args a) {
      story->inline_pictures.push_back(Arg(a, 0).AsString());
      return Variant();
    });
  }
};

// The insertion point of the document in front, at the end of the story it
// stands in (the user's place; scenarios move it between stories).
class SelectionObject : public SimObject {
 public:
  SelectionObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Selection") {
    auto where = [doc]() {
      SelectionModel& sel = doc->selection;
      sel.section = std::clamp(sel.section, 0, static_cast<int>(doc->sections.size()) - 1);
      RangeBounds b{&doc->main_story, nullptr, sel.story_type, sel.section, 0, -1};
      StorySlot slot{};
      if (sel.story_type == 2) {
        b.story = &doc->footnotes;
      } else if (SlotOf(sel.story_type, slot)) {
        b.hf = &SlotIn(*doc->sections[static_cast<std::size_t>(sel.section)], slot);
        b.story = &b.hf->story;
      }
      // Before the story's final paragraph mark.
      b.start = b.end = std::max(0L, static_cast<long>(b.story->text.size()) - 1);
      return b;
    };
    Prop("StoryType", [doc](Args) { return Variant(std::int32_t{doc->selection.story_type}); });
    Method("Information", [doc, where](Args a) {
      const RangeBounds b = where();
      const PageSetupModel& page = doc->sections[static_cast<std::size_t>(b.section)]->page_setup;
      switch (Arg(a, 0).AsInt()) {
        case 2: return Variant(std::int32_t{b.section + 1});  // wdActiveEndSectionNumber
        case 5: return Variant(page.left_margin);             // horizontal position on the page
        case 6: return Variant(page.top_margin);              // vertical position on the page
        default: RaiseHost("Value out of range");
      }
    }, false);
    Method("TypeText", [doc, where](Args a) {
      if (doc->protection_type != -1) RaiseHost("This method or property is not available because the document is protected.");
      const RangeBounds b = where();
      b.story->text.insert(static_cast<std::size_t>(b.start), Arg(a, 0).AsString());
      if (b.hf) b.hf->created = true;
      return Variant();
    });
    Prop("Range", [&host, doc, where](Args) { return Variant(MakeRange(host, doc, where())); });
    Prop("Fields", [&host, doc, where](Args) {
      if (doc->protection_type != -1) RaiseHost("This method or property is not available because the document is protected.");
      const RangeBounds b = where();
      if (b.hf) b.hf->created = true;
      return Variant(FieldsRef(host, doc, &b.story->fields));
    });
    Prop("InlineShapes", [&host, doc, where](Args) {
      StoryModel* story = where().story;
      return Variant(host.Cached<InlineShapesObject>(story, "inlineshapes", doc, story));
    });
  }
};

// Word's application with its Selection in the document in front.
class WordApplicationObject : public ApplicationBase {
 public:
  explicit WordApplicationObject(SimHost& host) : ApplicationBase(host, "Microsoft Word", "Documents", "ActiveDocument") {
    Prop("Selection", [&host](Args) {
      auto doc = host.Active();
      if (!doc) RaiseHost("This command is not available because no document is open.");
      return Variant(host.Cached<SelectionObject>(doc.get(), "selection", doc, host, doc));
    });
  }
};

}  // namespace

ObjectRef WordHost::MakeApplication() {
  return Cached<WordApplicationObject>(this, "Application", nullptr, *this);
}

ObjectRef WordHost::MakeDocument(const std::shared_ptr<DocumentModel>& doc) {
  return Cached<WordDocumentObject>(doc.get(), "Document", doc, *this, doc);
}

void WordHost::FireOpen(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->DocumentOpen(Variant(Wrap(doc)));
}

void WordHost::FireNew(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->NewDocument(Variant(Wrap(doc)));
}

void WordHost::FireActivate(const std::shared_ptr<DocumentModel>& doc) {
  if (!sink_) return;
  sink_->DocumentChange();
  if (doc) sink_->WindowActivate(Variant(Wrap(doc)), Variant(WindowRef(*this, doc)));
}

void WordHost::FireDeactivate(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->WindowDeactivate(Variant(Wrap(doc)), Variant(WindowRef(*this, doc)));
}

void WordHost::FireBeforeSave(const std::shared_ptr<DocumentModel>& doc, bool save_as_ui, bool& cancel) {
  if (sink_) sink_->DocumentBeforeSave(Variant(Wrap(doc)), save_as_ui, cancel);
}

void WordHost::FireBeforeClose(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->DocumentBeforeClose(Variant(Wrap(doc)), cancel);
}

void WordHost::FireBeforePrint(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->DocumentBeforePrint(Variant(Wrap(doc)), cancel);
}

void WordHost::FireQuit() {
  if (sink_) sink_->Quit();
}

}  // namespace quillorn::hostsim
