// Members every host offers. Saved, StatusBar and the view settings change no
// document: writing them leaves Saved as it is.
#include "hostsim/app_objects.h"

#include <algorithm>

#include "hostsim/host.h"
#include "hostsim/office_objects.h"
#include "hostsim/printing.h"
#include "platform/office_constants.h"

namespace quillorn::hostsim {

std::string DocumentName(const DocumentModel& doc) {
  return doc.full_name.empty() ? doc.untitled_name : FileNameOf(doc.full_name);
}

namespace {

Variant Bool(bool b) { return Variant(b); }

std::shared_ptr<DocumentModel> FindDocument(SimHost& host, const Variant& index, std::string_view what) {
  const auto& docs = host.Documents();
  if (index.kind() == Variant::Kind::Text) {
    const std::string name = index.AsString();
    for (const auto& d : docs) {
      if (SameName(DocumentName(*d), name) || SameName(d->full_name, name)) return d;
    }
    RaiseBadIndex(std::string(what) + "(\"" + name + "\")");
  }
  return docs[IndexArg(index, docs.size(), what)];
}

class ViewObject : public SimObject {
 public:
  explicit ViewObject(std::shared_ptr<DocumentModel> doc) : SimObject("View") {
    Prop("RevisionsView", [doc](Args) { return Variant(std::int32_t{doc->revisions_view}); },
         [doc](Args, const Variant& v) { doc->revisions_view = v.AsInt(); }, false);
    Prop("ShowRevisionsAndComments", [doc](Args) { return Bool(doc->show_revisions_and_comments); },
         [doc](Args, const Variant& v) { doc->show_revisions_and_comments = v.AsBool(); }, false);
    Prop("Type", [](Args) { return Variant(std::int32_t{3}); }, [](Args, const Variant&) {}, false);
  }
};

class WindowObject : public SimObject {
 public:
  WindowObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Window") {
    Prop("Caption", [doc](Args) { return Variant(DocumentName(*doc)); });
    Prop("Visible", [&host](Args) { return Bool(host.visible); },
         [&host](Args, const Variant& v) { host.visible = v.AsBool(); }, false);
    Prop("WindowState", [&host](Args) { return Variant(std::int32_t{host.window_state}); },
         [&host](Args, const Variant& v) { host.window_state = v.AsInt(); }, false);
    Prop("View", [&host, doc](Args) { return Variant(host.Cached<ViewObject>(doc.get(), "view", doc, doc)); });
    Prop("Document", [&host, doc](Args) { return Variant(host.Wrap(doc)); });
    Prop("Presentation", [&host, doc](Args) { return Variant(host.Wrap(doc)); });
    Prop("Parent", [&host, doc](Args) { return Variant(host.Wrap(doc)); });
    Method("Activate", [&host, doc](Args) {
      host.Activate(doc);
      return Variant();
    }, false);
  }
};

// Only what the add-in runs by id: the command is recorded, its own dialog is
// not simulated.
class WindowsObject : public SimObject {
 public:
  WindowsObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Windows") {
    auto list = [&host, doc]() {
      std::vector<std::shared_ptr<DocumentModel>> out;
      if (doc) {
        out.push_back(doc);
      } else {
        out = host.Documents();
      }
      return out;
    };
    Prop("Count", [list](Args) { return Variant(static_cast<std::int32_t>(list().size())); });
    Prop("Item", [list, &host](Args a) {
      auto docs = list();
      return Variant(WindowRef(host, docs[IndexArg(Arg(a, 0), docs.size(), "Windows.Item")]));
    });
  }
};

class DocumentsObject : public SimObject {
 public:
  DocumentsObject(SimHost& host, std::string name) : SimObject(name) {
    Prop("Count", [&host](Args) { return Variant(static_cast<std::int32_t>(host.Documents().size())); });
    Prop("Item", [&host, name](Args a) { return Variant(host.Wrap(FindDocument(host, Arg(a, 0), name + ".Item"))); });
    // Open(FileName, ...): Word's ReadOnly is the third argument, Excel's the
    // third too (FileName, UpdateLinks, ReadOnly), PowerPoint's the second.
    // Word's Visible is the twelfth; PowerPoint's (FileName, ReadOnly,
    // Untitled, WithWindow) has its own two.
    const bool power_point = host.Kind() == HostType::ohaPowerPoint;
    const std::size_t read_only_at = power_point ? 1 : 2;
    constexpr std::size_t kWordVisibleAt = 11;
    constexpr std::size_t kUntitledAt = 2;
    constexpr std::size_t kWithWindowAt = 3;
    Method("Open", [&host, read_only_at, power_point](Args a) {
      const std::string path = Arg(a, 0).AsString();
      if (path.empty()) RaiseHost("Open needs a file name.");
      const std::size_t visible_at = power_point ? kWithWindowAt : kWordVisibleAt;
      const bool visible = (host.Kind() != HostType::ohaWord && !power_point) || !HasArg(a, visible_at) ||
                           Arg(a, visible_at).AsBool();
      const bool untitled = power_point && HasArg(a, kUntitledAt) && Arg(a, kUntitledAt).AsBool();
      return Variant(host.Wrap(
          host.Open(path, HasArg(a, read_only_at) && Arg(a, read_only_at).AsBool(), visible, untitled)));
    }, false);
    Method("Add", [&host](Args) { return Variant(host.Wrap(host.Add())); }, false);
  }
};

}  // namespace

ObjectRef WindowRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc) {
  return host.Cached<WindowObject>(doc.get(), "window", doc, host, doc);
}

ObjectRef WindowsRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc) {
  return host.Cached<WindowsObject>(doc.get(), "windows", doc, host, doc);
}

ApplicationBase::ApplicationBase(SimHost& host, std::string app_name, std::string collection, std::string active)
    : SimObject("Application") {
  Prop("Name", [app_name](Args) { return Variant(app_name); });
  Prop("Version", [&host](Args) { return Variant(host.version); },
       [&host](Args, const Variant& v) { host.version = v.AsString(); }, false);
  Prop("StatusBar", [&host](Args) { return Variant(host.status_bar); },
       [&host](Args, const Variant& v) { host.status_bar = v.AsString(); }, false);
  Prop("ScreenUpdating", [&host](Args) { return Variant(host.screen_updating); },
       [&host](Args, const Variant& v) { host.screen_updating = v.AsBool(); }, false);
  Prop("Visible", [&host](Args) { return Variant(host.visible); },
       [&host](Args, const Variant& v) { host.visible = v.AsBool(); }, false);
  Prop("DisplayAlerts", [&host](Args) { return Variant(host.display_alerts); },
       [&host](Args, const Variant& v) { host.display_alerts = v.AsBool(); }, false);
  Prop(collection, [&host, collection](Args a) {
    auto docs = host.Cached<DocumentsObject>(&host, collection, nullptr, host, collection);
    if (HasArg(a, 0)) return docs->GetProperty("Item", a);
    return Variant(docs);
  });
  Prop(active, [&host, active](Args) {
    // Excel answers Nothing where the others refuse.
    if (!host.Active() && active == "ActiveWorkbook") return Variant(ObjectRef{});
    if (!host.Active()) RaiseHost("This command is not available because no document is open.");
    return Variant(host.Wrap(host.Active()));
  });
  Prop("ActiveWindow", [&host](Args) {
    if (!host.Active()) RaiseHost("This command is not available because no document is open.");
    return Variant(WindowRef(host, host.Active()));
  });
  Prop("Windows", [&host](Args) { return Variant(WindowsRef(host, nullptr)); });
  Prop("CommandBars", [&host](Args) { return Variant(CommandBarsRef(host)); });
  Prop("Dialogs", [&host](Args a) {
    auto dialogs = DialogsRef(host);
    if (HasArg(a, 0)) return dialogs->GetProperty("Item", a);
    return Variant(dialogs);
  });
  if (host.Kind() == HostType::ohaWord) {
    Prop("BackgroundPrintingStatus", [&host](Args) { return Variant(std::int32_t{host.background_printing}); });
  }
  Method("Quit", [&host](Args) {
    host.Quit();
    return Variant();
  }, false);
  // Brings the application's window to the front; nothing else changes.
  Method("Activate", [&host](Args) {
    ++host.app_activations;
    return Variant();
  }, false);
}

DocumentBase::DocumentBase(SimHost& host, std::shared_ptr<DocumentModel> doc, std::string type_name)
    : SimObject(std::move(type_name)) {
  Prop("Name", [doc](Args) { return Variant(DocumentName(*doc)); });
  Prop("FullName", [doc](Args) { return Variant(doc->full_name.empty() ? doc->untitled_name : doc->full_name); });
  Prop("Path", [doc](Args) { return Variant(FolderOf(doc->full_name)); });
  Prop("Saved", [doc](Args) { return Variant(doc->saved); },
       [doc](Args, const Variant& v) { doc->saved = v.AsBool(); }, false);
  Prop("ReadOnly", [doc](Args) { return Variant(doc->read_only); });
  Prop("Application", [&host](Args) { return Variant(host.Application()); });
  Prop("Parent", [&host](Args) { return Variant(host.Application()); });
  Method("Save", [&host, doc](Args) {
    host.Save(doc);
    return Variant();
  }, false);
  // A fixed format (Word's 17, Excel's 57, PowerPoint's 32) is an export: a
  // stand-in file appears and the document keeps its own name and state.
  const int fixed_format = host.Kind() == HostType::ohaWord         ? platform::kWdFormatPDF
                           : host.Kind() == HostType::ohaExcel      ? 57
                           : host.Kind() == HostType::ohaPowerPoint ? platform::kPpSaveAsPDF
                                                                    : -1;
  auto save_as = [&host, doc, fixed_format](Args a) {
    const std::string path = HasArg(a, 0) ? Arg(a, 0).AsString() : doc->full_name;
    if (HasArg(a, 1) && Arg(a, 1).AsInt() == fixed_format) {
      if (path.empty()) RaiseHost("SaveAs needs a file name.");
      WriteStandInFile(path, "simulated PDF of " + DocumentName(*doc));
      return Variant();
    }
    host.SaveAs(doc, path);
    return Variant();
  };
  Method("SaveAs", save_as, false);
  Method("SaveAs2", save_as, false);
  Method("Close", [&host, doc](Args a) {
    // Word passes -1 (wdSaveChanges), Excel True; left out, nothing is saved.
    const Variant& save = Arg(a, 0);
    host.Close(doc, !save.IsEmpty() && save.kind() != Variant::Kind::Text && save.AsInt() != 0 && save.AsInt() != -2);
    return Variant();
  }, false);
  Method("Activate", [&host, doc](Args) {
    host.Activate(doc);
    return Variant();
  }, false);
  Method("PrintOut", [&host, doc](Args) {
    host.Print(doc);
    return Variant();
  }, false);
  Prop("CustomDocumentProperties", [&host, doc](Args) { return Variant(CustomPropertiesRef(host, doc)); });
  Prop("BuiltInDocumentProperties", [&host, doc](Args a) {
    auto props = BuiltInPropertiesRef(host, doc);
    if (HasArg(a, 0)) return props->GetProperty("Item", a);
    return Variant(props);
  });
  Prop("ActiveWindow", [&host, doc](Args) { return Variant(WindowRef(host, doc)); });
  Prop("Windows", [&host, doc](Args) { return Variant(WindowsRef(host, doc)); });
}

}  // namespace quillorn::hostsim
