// Excel's object model over the plain workbook. Excel forgives an Unprotect of
// something unprotected, but not a wrong password.
#include "hostsim/excel.h"

#include <algorithm>

#include "hostsim/app_objects.h"
#include "hostsim/office_objects.h"
#include "hostsim/printing.h"

namespace quillorn::hostsim {
namespace {

class HeaderPictureObject : public SimObject {
 public:
  explicit HeaderPictureObject(std::shared_ptr<SheetModel> sheet) : SimObject("Graphic") {
    Prop("Filename", [sheet](Args) { return Variant(sheet->center_header_picture); },
         [sheet](Args, const Variant& v) {
           sheet->center_header_picture = v.AsString();
           // Excel takes the picture in when it is set; the file may go right after.
           sheet->center_header_picture_word = PictureWord(sheet->center_header_picture);
         });
  }
};

class SheetPageSetupObject : public SimObject {
 public:
  SheetPageSetupObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<SheetModel> sheet)
      : SimObject("PageSetup") {
    Prop("CenterHeader", [sheet](Args) { return Variant(sheet->center_header); },
         [sheet](Args, const Variant& v) { sheet->center_header = v.AsString(); });
    Prop("CenterHeaderPicture", [&host, doc, sheet](Args) {
      return Variant(host.Cached<HeaderPictureObject>(sheet.get(), "headerpicture", doc, sheet));
    });
  }
};

// The active cell of a sheet; the simulated sheet keeps only the cells written.
class CellObject : public SimObject {
 public:
  CellObject(std::shared_ptr<DocumentModel> doc, std::shared_ptr<SheetModel> sheet) : SimObject("Range") {
    auto cell = [sheet]() -> CellModel& {
      for (auto& [address, c] : sheet->cells) {
        if (address == sheet->active_cell) return c;
      }
      return sheet->cells.emplace_back(sheet->active_cell, CellModel{}).second;
    };
    Prop("Address", [sheet](Args) { return Variant("$" + sheet->active_cell.substr(0, 1) + "$" + sheet->active_cell.substr(1)); });
    Prop("Formula", [cell](Args) { return Variant(cell().formula); },
         [cell, doc, sheet](Args, const Variant& v) {
           if (sheet->protected_) RaiseHost("The cell or chart you're trying to change is on a protected sheet.");
           cell().formula = v.AsString();
           doc->MarkChanged();
         });
    Prop("NumberFormat", [cell](Args) { return Variant(cell().number_format); },
         [cell](Args, const Variant& v) { cell().number_format = v.AsString(); });
    Prop("Left", [](Args) { return Variant(0.0); });
    Prop("Top", [](Args) { return Variant(0.0); });
  }
};

class SheetObject : public SimObject {
 public:
  SheetObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<SheetModel> sheet)
      : SimObject("Worksheet") {
    Prop("Name", [sheet](Args) { return Variant(sheet->name); },
         [sheet](Args, const Variant& v) { sheet->name = v.AsString(); });
    Prop("PageSetup", [&host, doc, sheet](Args) {
      return Variant(host.Cached<SheetPageSetupObject>(sheet.get(), "pagesetup", doc, host, doc, sheet));
    });
    Prop("ProtectContents", [sheet](Args) { return Variant(sheet->protected_); });
    Prop("Shapes", [&host, doc, sheet](Args) { return Variant(ShapesRef(host, doc, &sheet->shapes)); });
    Method("Protect", [sheet](Args a) {
      sheet->protected_ = true;
      sheet->password = Arg(a, 0).AsString();
      return Variant();
    });
    Method("Unprotect", [sheet](Args a) {
      if (!sheet->protected_) return Variant();
      if (Arg(a, 0).AsString() != sheet->password) RaiseHost("The password you supplied is not correct.");
      sheet->protected_ = false;
      sheet->password.clear();
      return Variant();
    });
  }
};

class SheetsObject : public SimObject {
 public:
  SheetsObject(SimHost& host, std::shared_ptr<DocumentModel> doc, bool worksheets_only)
      : SimObject(worksheets_only ? "Worksheets" : "Sheets") {
    auto list = [doc, worksheets_only]() {
      std::vector<std::shared_ptr<SheetModel>> out;
      for (const auto& s : doc->sheets) {
        if (!worksheets_only || !s->is_chart) out.push_back(s);
      }
      return out;
    };
    Prop("Count", [list](Args) { return Variant(static_cast<std::int32_t>(list().size())); });
    Prop("Item", [list, &host, doc](Args a) {
      auto sheets = list();
      const Variant& index = Arg(a, 0);
      std::shared_ptr<SheetModel> sheet;
      if (index.kind() == Variant::Kind::Text) {
        for (const auto& s : sheets) {
          if (SameName(s->name, index.AsString())) sheet = s;
        }
        if (!sheet) RaiseBadIndex("Sheets.Item(\"" + index.AsString() + "\")");
      } else {
        sheet = sheets[IndexArg(index, sheets.size(), "Sheets.Item")];
      }
      return Variant(host.Cached<SheetObject>(sheet.get(), "sheet", doc, host, doc, sheet));
    });
    Method("Add", [&host, doc](Args) {
      auto sheet = std::make_shared<SheetModel>();
      sheet->name = "Sheet" + std::to_string(doc->sheets.size() + 1);
      doc->sheets.push_back(sheet);
      return Variant(host.Cached<SheetObject>(sheet.get(), "sheet", doc, host, doc, sheet));
    });
  }
};

NameModel* FindName(DocumentModel& doc, std::string_view name) {
  for (auto& n : doc.names) {
    if (SameName(n.name, name)) return &n;
  }
  return nullptr;
}

class NameObject : public SimObject {
 public:
  NameObject(std::shared_ptr<DocumentModel> doc, std::string name) : SimObject("Name") {
    auto find = [doc, name]() -> NameModel& {
      auto* n = FindName(*doc, name);
      if (!n) RaiseHost("The object has been deleted.");
      return *n;
    };
    Prop("Name", [find](Args) { return Variant(find().name); });
    Prop("RefersTo", [find](Args) { return Variant(find().refers_to); },
         [find](Args, const Variant& v) { find().refers_to = v.AsString(); });
    Prop("Visible", [find](Args) { return Variant(find().visible); },
         [find](Args, const Variant& v) { find().visible = v.AsBool(); });
    Prop("Value", [find](Args) { return Variant(find().value); },
         [find](Args, const Variant& v) { find().value = v.AsString(); });
    Method("Delete", [doc, name](Args) {
      auto& names = doc->names;
      names.erase(std::remove_if(names.begin(), names.end(), [&](const NameModel& n) { return SameName(n.name, name); }),
                  names.end());
      return Variant();
    });
  }
};

class NamesObject : public SimObject {
 public:
  NamesObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Names") {
    auto wrap = [&host, doc](const std::string& name) {
      return Variant(host.Cached<NameObject>(doc.get(), "name:" + Lower(name), doc, doc, name));
    };
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->names.size())); });
    Prop("Item", [doc, wrap](Args a) {
      const Variant& index = Arg(a, 0);
      if (index.kind() == Variant::Kind::Text) {
        auto* n = FindName(*doc, index.AsString());
        if (!n) RaiseBadIndex("Names.Item(\"" + index.AsString() + "\")");
        return wrap(n->name);
      }
      return wrap(doc->names[IndexArg(index, doc->names.size(), "Names.Item")].name);
    });
    // Add(Name, RefersTo, Visible): the same name again replaces the old one.
    Method("Add", [doc, wrap](Args a) {
      const std::string name = Arg(a, 0).AsString();
      if (name.empty() || name.find(' ') != std::string::npos) RaiseHost("The name that you entered is not valid.");
      NameModel n{name, Arg(a, 1).AsString(), HasArg(a, 2) ? Arg(a, 2).AsBool() : true, Arg(a, 1).AsString()};
      if (auto* old = FindName(*doc, name)) {
        *old = n;
      } else {
        doc->names.push_back(n);
      }
      return wrap(name);
    });
  }
};

class WorkbookObject : public DocumentBase {
 public:
  WorkbookObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : DocumentBase(host, doc, "Workbook") {
    for (bool worksheets : {false, true}) {
      Prop(worksheets ? "Worksheets" : "Sheets", [&host, doc, worksheets](Args a) {
        auto s = host.Cached<SheetsObject>(doc.get(), worksheets ? "Worksheets" : "Sheets", doc, host, doc, worksheets);
        return HasArg(a, 0) ? s->GetProperty("Item", a) : Variant(s);
      });
    }
    Prop("Names", [&host, doc](Args) { return Variant(host.Cached<NamesObject>(doc.get(), "Names", doc, host, doc)); });
    Prop("ProtectStructure", [doc](Args) { return Variant(doc->protect_structure); });
    Method("Protect", [doc](Args a) {
      doc->workbook_password = Arg(a, 0).AsString();
      doc->protect_structure = HasArg(a, 1) ? Arg(a, 1).AsBool() : true;
      return Variant();
    });
    Method("Unprotect", [doc](Args a) {
      if (!doc->protect_structure) return Variant();
      if (Arg(a, 0).AsString() != doc->workbook_password) RaiseHost("The password you supplied is not correct.");
      doc->protect_structure = false;
      doc->workbook_password.clear();
      return Variant();
    });
    // ExportAsFixedFormat(Type, Filename): a stand-in file where the PDF would be.
    Method("ExportAsFixedFormat", [doc](Args a) {
      WriteStandInFile(Arg(a, 1).AsString(), "simulated fixed-format export of " + DocumentName(*doc));
      return Variant();
    }, false);
  }
};

}  // namespace

namespace {

// Excel's application with the active sheet and cell of the workbook in front
// (its first sheet: the simulated window shows no other).
class ExcelApplicationObject : public ApplicationBase {
 public:
  explicit ExcelApplicationObject(SimHost& host) : ApplicationBase(host, "Microsoft Excel", "Workbooks", "ActiveWorkbook") {
    auto sheet = [&host]() {
      auto doc = host.Active();
      if (!doc || doc->sheets.empty()) RaiseHost("This command is not available because no workbook is open.");
      return std::make_pair(doc, doc->sheets.front());
    };
    Prop("ActiveSheet", [&host, sheet](Args) {
      auto [doc, s] = sheet();
      return Variant(host.Cached<SheetObject>(s.get(), "sheet", doc, host, doc, s));
    });
    Prop("ActiveCell", [&host, sheet](Args) {
      auto [doc, s] = sheet();
      return Variant(host.Cached<CellObject>(s.get(), "activecell", doc, doc, s));
    });
  }
};

}  // namespace

ObjectRef ExcelHost::MakeApplication() {
  return Cached<ExcelApplicationObject>(this, "Application", nullptr, *this);
}

ObjectRef ExcelHost::MakeDocument(const std::shared_ptr<DocumentModel>& doc) {
  return Cached<WorkbookObject>(doc.get(), "Workbook", doc, *this, doc);
}

void ExcelHost::FireOpen(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->WorkbookOpen(Variant(Wrap(doc)));
}

void ExcelHost::FireNew(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->NewWorkbook(Variant(Wrap(doc)));
}

void ExcelHost::FireActivate(const std::shared_ptr<DocumentModel>& doc) {
  if (!sink_ || !doc) return;
  sink_->WorkbookActivate(Variant(Wrap(doc)));
  sink_->WindowActivate(Variant(Wrap(doc)), Variant(WindowRef(*this, doc)));
}

void ExcelHost::FireDeactivate(const std::shared_ptr<DocumentModel>& doc) {
  if (!sink_) return;
  sink_->WindowDeactivate(Variant(Wrap(doc)), Variant(WindowRef(*this, doc)));
  sink_->WorkbookDeactivate(Variant(Wrap(doc)));
}

void ExcelHost::FireBeforeSave(const std::shared_ptr<DocumentModel>& doc, bool save_as_ui, bool& cancel) {
  if (sink_) sink_->WorkbookBeforeSave(Variant(Wrap(doc)), save_as_ui, cancel);
}

void ExcelHost::FireBeforeClose(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->WorkbookBeforeClose(Variant(Wrap(doc)), cancel);
}

void ExcelHost::FireClose(const std::shared_ptr<DocumentModel>&) {}

void ExcelHost::FireBeforePrint(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->WorkbookBeforePrint(Variant(Wrap(doc)), cancel);
}

void ExcelHost::FireQuit() {}

}  // namespace quillorn::hostsim
