// Taking a copy of a managed document out of the system: a check-out keeps the
// copy tied to the system (its cmsID names the user) and marks the record "C";
// an export gives a free copy without identity. Both are offered by the
// backstage buttons, the Office menu and the "Save As" chooser. The open
// document stays in the cache; only the copy leaves.
#pragma once

#include <string>

#include "workflow/document_tracking.h"
#include "workflow/module_site.h"

namespace quillorn::workflow {

inline constexpr char kCheckoutFailed[] = "Checkout failed!\rSee error log for details.";
inline constexpr char kExportFailed[] = "Export failed!\rSee error log for details.";
inline constexpr char kReplaceExisting[] = "The file already exists! Do you want to replace it?";

class DocumentCopies {
 public:
  DocumentCopies(ModuleSite& site, DocumentTracking& tracking) : site_(site), tracking_(tracking) {}

  // True when the copy is at fileName and the record is marked checked out.
  bool PerformCheckOut(const std::string& fileName);
  // True when the copy is at fileName.
  bool PerformExport(const std::string& fileName);
  // The "Save As" chooser and what the user picks in it.
  void DocumentSaveAs();
  // The backstage Export button and the Office menu's "Export Document".
  void ExportButtonClick();
  // The backstage Check Out button and the Office menu's "Check Out Document".
  void CheckOutButtonClick();

 private:
  enum class CopyKind { CheckOut, Export };
  // The save dialog for a copy called `name`; the chosen path, "" when cancelled.
  std::string AskTarget(CopyKind kind, const std::string& name);
  void CheckOutTo(const std::string& fileName);
  // Asks before replacing an existing file unless `ask` is false.
  void ExportTo(const std::string& fileName, bool ask);
  // The file dialog for the target, then the export with its replace question.
  void ExportWhereTheUserSays(const std::string& name);
  void ShowError(const char* text);

  ModuleSite& site_;
  DocumentTracking& tracking_;
};

}  // namespace quillorn::workflow
