// PowerPoint's object model over the plain presentation. A presentation has
// a slide master always and a title master only once one is added.
#include "hostsim/powerpoint.h"

#include "hostsim/app_objects.h"
#include "hostsim/office_objects.h"

namespace quillorn::hostsim {
namespace {

Variant MsoBool(bool b) { return Variant(b ? std::int32_t{-1} : std::int32_t{0}); }

class MasterObject : public SimObject {
 public:
  MasterObject(SimHost& host, std::shared_ptr<DocumentModel> doc, ShapeList* shapes, bool title)
      : SimObject(title ? "TitleMaster" : "SlideMaster") {
    Prop("Shapes", [&host, doc, shapes, title](Args) {
      if (title && !doc->has_title_master) RaiseHost("This presentation has no title master.");
      return Variant(ShapesRef(host, doc, shapes));
    });
    Prop("Name", [title](Args) { return Variant(title ? "Title Master" : "Slide Master"); });
  }
};

class SlideFillObject : public SimObject {
 public:
  explicit SlideFillObject(std::shared_ptr<SlideModel> slide) : SimObject("FillFormat") {
    Method("UserPicture", [slide](Args a) {
      slide->background_picture = Arg(a, 0).AsString();
      return Variant();
    });
  }
};

class SlideBackgroundObject : public SimObject {
 public:
  SlideBackgroundObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<SlideModel> slide)
      : SimObject("ShapeRange") {
    Prop("Fill", [&host, doc, slide](Args) {
      return Variant(host.Cached<SlideFillObject>(slide.get(), "backgroundfill", doc, slide));
    });
  }
};

class SlideObject : public SimObject {
 public:
  SlideObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<SlideModel> slide)
      : SimObject("Slide") {
    Prop("SlideIndex", [doc, slide](Args) {
      for (std::size_t i = 0; i < doc->slides.size(); ++i) {
        if (doc->slides[i] == slide) return Variant(static_cast<std::int32_t>(i + 1));
      }
      RaiseHost("The object has been deleted.");
    });
    Prop("Shapes", [&host, doc, slide](Args) { return Variant(ShapesRef(host, doc, &slide->shapes)); });
    Prop("Layout", [slide](Args) { return Variant(std::int32_t{slide->layout}); },
         [slide](Args, const Variant& v) { slide->layout = v.AsInt(); });
    Prop("FollowMasterBackground", [slide](Args) { return MsoBool(slide->follow_master_background); },
         [slide](Args, const Variant& v) { slide->follow_master_background = v.AsBool(); });
    Prop("Background", [&host, doc, slide](Args) {
      return Variant(host.Cached<SlideBackgroundObject>(slide.get(), "background", doc, host, doc, slide));
    });
    Method("Export", [doc, slide](Args a) {
      WriteStandInFile(Arg(a, 0).AsString(), "simulated " + Arg(a, 1).AsString() + " picture of a slide");
      return Variant();
    }, false);
  }
};

class SlidesObject : public SimObject {
 public:
  SlidesObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Slides") {
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->slides.size())); });
    Prop("Item", [&host, doc](Args a) {
      auto slide = doc->slides[IndexArg(Arg(a, 0), doc->slides.size(), "Slides.Item")];
      return Variant(host.Cached<SlideObject>(slide.get(), "slide", doc, host, doc, slide));
    });
    Method("Add", [&host, doc](Args a) {
      auto slide = std::make_shared<SlideModel>();
      if (HasArg(a, 1)) slide->layout = Arg(a, 1).AsInt();
      std::size_t at = HasArg(a, 0) ? static_cast<std::size_t>(std::max(1, Arg(a, 0).AsInt())) : doc->slides.size() + 1;
      at = std::min(at - 1, doc->slides.size());
      doc->slides.insert(doc->slides.begin() + static_cast<std::ptrdiff_t>(at), slide);
      return Variant(host.Cached<SlideObject>(slide.get(), "slide", doc, host, doc, slide));
    });
  }
};

class SlidePageSetupObject : public SimObject {
 public:
  explicit SlidePageSetupObject(std::shared_ptr<DocumentModel> doc) : SimObject("PageSetup") {
    Prop("SlideHeight", [doc](Args) { return Variant(doc->slide_height); },
         [doc](Args, const Variant& v) { doc->slide_height = v.AsDouble(); });
    Prop("SlideWidth", [doc](Args) { return Variant(doc->slide_width); },
         [doc](Args, const Variant& v) { doc->slide_width = v.AsDouble(); });
  }
};

class PresentationObject : public DocumentBase {
 public:
  PresentationObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : DocumentBase(host, doc, "Presentation") {
    Prop("Slides", [&host, doc](Args a) {
      auto s = host.Cached<SlidesObject>(doc.get(), "Slides", doc, host, doc);
      return HasArg(a, 0) ? s->GetProperty("Item", a) : Variant(s);
    });
    Prop("TitleMaster", [&host, doc](Args) {
      if (!doc->has_title_master) RaiseHost("This presentation has no title master.");
      return Variant(host.Cached<MasterObject>(doc.get(), "TitleMaster", doc, host, doc, &doc->title_master_shapes, true));
    });
    Prop("SlideMaster", [&host, doc](Args) {
      return Variant(host.Cached<MasterObject>(doc.get(), "SlideMaster", doc, host, doc, &doc->slide_master_shapes, false));
    });
    Prop("HasTitleMaster", [doc](Args) { return MsoBool(doc->has_title_master); });
    Method("AddTitleMaster", [&host, doc](Args) {
      if (doc->has_title_master) RaiseHost("This presentation already has a title master.");
      doc->has_title_master = true;
      return Variant(host.Cached<MasterObject>(doc.get(), "TitleMaster", doc, host, doc, &doc->title_master_shapes, true));
    });
    Prop("PageSetup", [&host, doc](Args) {
      return Variant(host.Cached<SlidePageSetupObject>(doc.get(), "PageSetup", doc, doc));
    });
    Prop("Final", [doc](Args) { return Variant(doc->final); },
         [doc](Args, const Variant& v) { doc->final = v.AsBool(); });
    Method("ApplyTemplate", [doc](Args a) {
      const std::string file = Arg(a, 0).AsString();
      if (file.empty()) RaiseHost("ApplyTemplate needs a file.");
      doc->applied_template = file;
      return Variant();
    });
    Method("ExportAsFixedFormat", [doc](Args a) {
      WriteStandInFile(Arg(a, 0).AsString(), "simulated fixed-format export of " + DocumentName(*doc));
      return Variant();
    }, false);
  }
};

}  // namespace

ObjectRef PowerPointHost::MakeApplication() {
  return Cached<ApplicationBase>(this, "Application", nullptr, *this, "Microsoft PowerPoint", "Presentations",
                                 "ActivePresentation");
}

ObjectRef PowerPointHost::MakeDocument(const std::shared_ptr<DocumentModel>& doc) {
  return Cached<PresentationObject>(doc.get(), "Presentation", doc, *this, doc);
}

void PowerPointHost::FireOpen(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->PresentationOpen(Variant(Wrap(doc)));
}

void PowerPointHost::FireNew(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->NewPresentation(Variant(Wrap(doc)));
}

void PowerPointHost::FireActivate(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_ && doc) sink_->WindowActivate(Variant(Wrap(doc)), Variant(WindowRef(*this, doc)));
}

void PowerPointHost::FireDeactivate(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->WindowDeactivate(Variant(Wrap(doc)), Variant(WindowRef(*this, doc)));
}

void PowerPointHost::FireBeforeSave(const std::shared_ptr<DocumentModel>& doc, bool, bool& cancel) {
  if (sink_) sink_->PresentationBeforeSave(Variant(Wrap(doc)), cancel);
}

void PowerPointHost::FireBeforeClose(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->PresentationBeforeClose(Variant(Wrap(doc)), cancel);
}

void PowerPointHost::FireClose(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->PresentationClose(Variant(Wrap(doc)));
}

void PowerPointHost::FireBeforePrint(const std::shared_ptr<DocumentModel>& doc, bool&) {
  if (sink_) sink_->PresentationPrint(Variant(Wrap(doc)));
}

void PowerPointHost::FireQuit() {}

}  // namespace quillorn::hostsim
