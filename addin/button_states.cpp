#include "addin/button_states.h"

#include <stdexcept>

#include "addin/addin_module.h"
#include "data/table.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "platform/variant.h"

namespace quillorn::addin {
namespace {

// Statuses under which the document is still being worked on, and those of a
// released revision, which is only revised, never saved over.
constexpr std::string_view kOpenForWork = "EWNP ";
constexpr std::string_view kReleased = "AR!";

// Whether a one-letter value occurs in `letters`; nothing occurs for an empty one.
bool In(const std::string& value, std::string_view letters) {
  return !value.empty() && letters.find(value) != std::string_view::npos;
}

// ---- The controls, at their design positions.

Control& HomeApprove(CommandSurface& s) { return s.At("HomeTab", {0, 0}); }
Control& HomeRevise(CommandSurface& s) { return s.At("HomeTab", {0, 1}); }
Control& MenuSaveAsComplete(CommandSurface& s) { return s.At("RibbonOfficeMenu", {0}); }
Control& MenuPrintControlled(CommandSurface& s) { return s.At("RibbonOfficeMenu", {1}); }
Control& MenuSaveAs(CommandSurface& s) { return s.At("RibbonOfficeMenu", {2}); }
Control& MenuCheckOutDocument(CommandSurface& s) { return s.At("RibbonOfficeMenu", {2, 0}); }
Control& MenuExportDocument(CommandSurface& s) { return s.At("RibbonOfficeMenu", {2, 1}); }
Control& BuiltInSaveAsMenu(CommandSurface& s) { return s.At("RibbonOfficeMenu", {3}); }
Control& BackstageSaveAsComplete(CommandSurface& s) { return s.At("BackstageView", {0}); }
Control& BackstagePrintGroup(CommandSurface& s) { return s.At("BackstageView", {1, 0}); }
Control& BackstagePrintControlled(CommandSurface& s) { return s.At("BackstageView", {1, 0, 0}); }
Control& BackstageCheckOutTask(CommandSurface& s) { return s.At("BackstageView", {2, 0, 0, 0}); }
Control& BackstageExportTask(CommandSurface& s) { return s.At("BackstageView", {2, 0, 0, 1}); }
Control& BackstageTaskAttention(CommandSurface& s) { return s.At("BackstageView", {2, 0, 0, 2, 0}); }
Control& BackstageTabAttention(CommandSurface& s) { return s.At("BackstageView", {3, 0}); }

Control& Component(CommandSurface& s, std::string_view name) {
  Control* c = s.FindComponent(name);
  if (c == nullptr) throw std::out_of_range("no command component named " + std::string(name));
  return *c;
}

bool IsManaged(ButtonStateSource& source) {
  if (source.Ignore()) return false;
  if (!source.PermissionsOpen()) return false;
  if (!source.DocOpen()) return false;
  return source.LocatePermissions(source.DocID(), source.UserID());
}

void ApplyUnmanaged(CommandSurface& s) {
  HomeApprove(s).enabled = false;
  HomeRevise(s).enabled = false;
  MenuPrintControlled(s).enabled = false;
  BackstagePrintControlled(s).enabled = false;
  MenuSaveAsComplete(s).enabled = false;
  BackstageSaveAsComplete(s).enabled = false;
  Component(s, "FileSaveCommand").enabled = true;
  Component(s, "FileSaveShortcut").enabled = true;
  Component(s, "FileSaveAsCommand").enabled = true;
  SetFileSaveAsEnabled(s, true);
  BackstagePrintGroup(s).visible = false;
  BuiltInSaveAsMenu(s).visible = true;
  MenuSaveAs(s).visible = false;
  BackstageTabAttention(s).visible = false;
  BackstageTaskAttention(s).visible = false;
  BackstageCheckOutTask(s).visible = false;
  BackstageExportTask(s).visible = false;
}

void ApplyManaged(CommandSurface& s, ButtonStateSource& source, std::string& procName) {
  const std::string status = source.Status();
  const std::optional<int> statusBy = source.StatusBy();
  const bool isLatest = source.IsLatest() == "Y";
  const bool readOnly = source.ReadOnly();
  const int userID = source.UserID();
  // A document its user has checked out is theirs alone to pass on, whatever
  // their rights and even when it is open for reading.
  const bool checkedOutByUser = status == "C" && statusBy.has_value() && *statusBy == userID;
  const bool openForWork = In(status, kOpenForWork) && !readOnly;
  auto right = [&source](std::string_view name) { return source.Permission(name) == "Y"; };

  // Each rule is read where it is applied, so that a failing read stops at its stage.
  HomeApprove(s).enabled = (right("P_APPROVE") && openForWork) || checkedOutByUser;
  HomeRevise(s).enabled = right("P_REVISE") && In(status, kReleased) && isLatest && !readOnly;

  procName = std::string(kButtonStatesProcName) + "1";
  // "Print Controlled" prints without the watermark, hence the uncontrolled right.
  const bool canPrintUncontrolled = right("P_PRINT_UNCTRL");
  MenuPrintControlled(s).enabled = canPrintUncontrolled;
  BackstagePrintControlled(s).enabled = canPrintUncontrolled;
  BackstagePrintGroup(s).visible = true;
  const bool canComplete = openForWork || checkedOutByUser;
  MenuSaveAsComplete(s).enabled = canComplete;
  BackstageSaveAsComplete(s).enabled = canComplete;
  const bool canSave = !In(status, kReleased) && isLatest && !readOnly;
  Control& fileSave = Component(s, "FileSaveCommand");
  fileSave.enabled = canSave;
  Component(s, "FileSaveShortcut").enabled = fileSave.enabled;
  SetFileSaveAsEnabled(s, canSave);

  procName = std::string(kButtonStatesProcName) + "2";
  BuiltInSaveAsMenu(s).visible = false;
  MenuSaveAs(s).visible = true;

  procName = std::string(kButtonStatesProcName) + "3";
  BackstageTabAttention(s).visible = true;
  BackstageTaskAttention(s).visible = true;

  procName = std::string(kButtonStatesProcName) + "4";
  BackstageCheckOutTask(s).visible = true;
  BackstageExportTask(s).visible = true;

  procName = std::string(kButtonStatesProcName) + "5";
  const bool canExport = right("P_EXPORT");
  BackstageExportTask(s).enabled = canExport;
  MenuExportDocument(s).enabled = canExport;
  // Check out needs what save needs: the built-in save's flag, as set above, says it.
  const bool canCheckOut = Component(s, "FileSaveCommand").enabled && right("P_CHECKOUT");
  BackstageCheckOutTask(s).enabled = canCheckOut;
  MenuCheckOutDocument(s).enabled = canCheckOut;
}

// What a module without its data module yet reads: nothing is open.
class NoDataSource final : public ButtonStateSource {
 public:
  bool Ignore() override { return false; }
  bool ReadOnly() override { return false; }
  int DocID() override { return 0; }
  int UserID() override { return 0; }
  bool DocOpen() override { return false; }
  bool PermissionsOpen() override { return false; }
  bool LocatePermissions(int, int) override { return false; }
  std::string Status() override { return {}; }
  std::optional<int> StatusBy() override { return std::nullopt; }
  std::string IsLatest() override { return {}; }
  std::string Permission(std::string_view) override { return {}; }
};

}  // namespace

// ---- TableButtonStateSource ------------------------------------------------------

// A FILES table not opened yet reads as a row of nulls: no document, so nothing
// is found for it and it is not managed.
bool TableButtonStateSource::Ignore() {
  return tblFiles_.Active() && tblFiles_.FieldByName("IGNORE").AsBoolean();
}
bool TableButtonStateSource::ReadOnly() {
  return tblFiles_.Active() && tblFiles_.FieldByName("READ_ONLY").AsBoolean();
}
int TableButtonStateSource::DocID() { return tblFiles_.Active() ? tblFiles_.FieldByName("DOC_ID").AsInteger() : 0; }
bool TableButtonStateSource::DocOpen() { return tblDoc_.Active(); }
bool TableButtonStateSource::PermissionsOpen() { return tblDocPermissions_.Active(); }

bool TableButtonStateSource::LocatePermissions(int docID, int userID) {
  return tblDocPermissions_.Locate(
      "doc_id;user_id", platform::Variant(platform::VariantList{platform::Variant(docID), platform::Variant(userID)}));
}

std::string TableButtonStateSource::Status() { return tblDoc_.FieldByName("STATUS").AsString(); }

std::optional<int> TableButtonStateSource::StatusBy() {
  const data::Field field = tblDoc_.FieldByName("STATUS_BY");
  if (field.IsNull()) return std::nullopt;
  return field.AsInteger();
}

std::string TableButtonStateSource::IsLatest() { return tblDoc_.FieldByName("IS_LATEST").AsString(); }

std::string TableButtonStateSource::Permission(std::string_view name) {
  return tblDocPermissions_.FieldByName(name).AsString();
}

// ---- The routine -----------------------------------------------------------------

void SetQuillornRibbonButtonStates(CommandSurface& surface, ButtonStateSource& source,
                                   foundation::LogContext& context) {
  // Not a scope that restores: a failure must leave its stage's label for the
  // error handler to report.
  context.ProcName = kButtonStatesProcName;
  if (IsManaged(source)) {
    ApplyManaged(surface, source, context.ProcName);
  } else {
    ApplyUnmanaged(surface);
  }
  context.ProcName.clear();
}

void SetQuillornRibbonButtonStates(TAddInModule& module) {
  foundation::ContextScope scope(module.Context());
  data::Tdm* dm = module.dm();
  if (dm == nullptr) {
    NoDataSource none;
    SetQuillornRibbonButtonStates(module.Surface(), none, module.Context());
    return;
  }
  TableButtonStateSource source(dm->tblFiles, dm->tblDoc, dm->tblDocPermissions, dm->UserID);
  SetQuillornRibbonButtonStates(module.Surface(), source, module.Context());
}

void SetFileSaveAsEnabled(CommandSurface& surface, bool enabled) {
  Component(surface, "FileSaveAsCommand").enabled = enabled;
  foundation::LogTrace("SetFileSaveAsEnabled:", enabled ? "true" : "false");
}

}  // namespace quillorn::addin
