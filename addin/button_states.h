// What a user may start on the document in front: the Approve, Revise, Save as
// Complete, Print Controlled, Save, Save As, Check Out and Export commands, and the
// groups that go with them, set from its status, the user's rights and read-only
// opening. Writes only enabled and visible flags of the command surface; never data.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "addin/command_surface.h"
#include "foundation/context.h"

namespace quillorn::data {
class Table;
}

namespace quillorn::addin {

class TAddInModule;

inline constexpr char kButtonStatesProcName[] = "SetQuillornRibbonButtonStates";

// What the button states read, at the cache tables' current rows. Each read may
// raise; the routine then stops where it is and its trace name says where.
class ButtonStateSource {
 public:
  virtual ~ButtonStateSource() = default;

  // The active document's FILES row.
  virtual bool Ignore() = 0;
  virtual bool ReadOnly() = 0;
  virtual int DocID() = 0;
  // The logged-in user.
  virtual int UserID() = 0;

  virtual bool DocOpen() = 0;
  virtual bool PermissionsOpen() = 0;
  // Moves the rights to the row of this document and user; false when there is none.
  virtual bool LocatePermissions(int docID, int userID) = 0;

  // The document's DOCS row: STATUS and IS_LATEST as text ("" for null), STATUS_BY
  // as a user id (nullopt for null, which is nobody).
  virtual std::string Status() = 0;
  virtual std::optional<int> StatusBy() = 0;
  virtual std::string IsLatest() = 0;

  // A right of the located row ("P_APPROVE" ...): "Y", "N" or "" for null.
  virtual std::string Permission(std::string_view name) = 0;
};

// The data module's tables as they stand: tblFiles and tblDoc where the document
// tracking left them, tblDocPermissions moved by the one locate.
class TableButtonStateSource final : public ButtonStateSource {
 public:
  TableButtonStateSource(data::Table& tblFiles, data::Table& tblDoc, data::Table& tblDocPermissions, int UserID)
      : tblFiles_(tblFiles), tblDoc_(tblDoc), tblDocPermissions_(tblDocPermissions), userID_(UserID) {}

  bool Ignore() override;
  bool ReadOnly() override;
  int DocID() override;
  int UserID() override { return userID_; }
  bool DocOpen() override;
  bool PermissionsOpen() override;
  bool LocatePermissions(int docID, int userID) override;
  std::string Status() override;
  std::optional<int> StatusBy() override;
  std::string IsLatest() override;
  std::string Permission(std::string_view name) override;

 private:
  data::Table& tblFiles_;
  data::Table& tblDoc_;
  data::Table& tblDocPermissions_;
  int userID_;
};

// Sets the surface for the document `source` describes: a managed document in six
// stages, 0 to 5, each leaving its label ("SetQuillornRibbonButtonStates",
// "SetQuillornRibbonButtonStates1" ...) in context.ProcName before it runs, so a
// failure can be placed; the name is cleared at the end. A failure propagates with
// earlier stages applied and the label left standing. Anything not managed gets the
// surface as if the add-in weren't there, bar its own groups shown disabled.
void SetQuillornRibbonButtonStates(CommandSurface& surface, ButtonStateSource& source,
                                   foundation::LogContext& context);

// The module's own call: its surface, its data module's tables and logged-in user,
// in its context. Without a data module yet, nothing is managed. Failures propagate
// as above; run it under the module's guard, whose error trace names the stage.
void SetQuillornRibbonButtonStates(TAddInModule& module);

// Switches the built-in Save As on or off and traces it, "true" or "false".
void SetFileSaveAsEnabled(CommandSurface& surface, bool enabled);

}  // namespace quillorn::addin
