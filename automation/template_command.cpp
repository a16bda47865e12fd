#include "automation/template_command.h"

#include <string>

#include "automation/template_options.h"

namespace quillorn::automation {
namespace {

using platform::Buttons;
using platform::MessageKind;
using platform::ModalResult;

constexpr int kDialogOffsetFromButton = 100;

class HourglassScope {
 public:
  explicit HourglassScope(TemplatePane& pane) : pane_(pane) { pane_.SetCursor(ScreenCursor::crHourGlass); }
  ~HourglassScope() { pane_.SetCursor(ScreenCursor::crDefault); }
  HourglassScope(const HourglassScope&) = delete;
  HourglassScope& operator=(const HourglassScope&) = delete;

 private:
  TemplatePane& pane_;
};

// Word's status text and redraw come back whatever the merge did.
class StatusScope {
 public:
  explicit StatusScope(const Variant& app) : app_(app) {
    app_.Put("StatusBar", Variant(kApplyingTemplate));
    app_.Put("ScreenUpdating", Variant(false));
  }
  ~StatusScope() {
    try {
      app_.Put("StatusBar", Variant(""));
    } catch (...) {
    }
    try {
      app_.Put("ScreenUpdating", Variant(true));
    } catch (...) {
    }
  }
  StatusScope(const StatusScope&) = delete;
  StatusScope& operator=(const StatusScope&) = delete;

 private:
  Variant app_;
};

void RecordOrComplain(TemplateCommandContext& ctx, bool applied, std::int32_t TemplateID, bool redraw) {
  ctx.pane.SetCursor(ScreenCursor::crDefault);
  if (applied) {
    ctx.merge.dm.SetDocTemplateID(TemplateID);
    return;
  }
  if (redraw) ctx.merge.application.Put("ScreenUpdating", Variant(true));
  ctx.prompts.MessageDlg(kTemplateProblem, MessageKind::Error, Buttons::OK);
}

}  // namespace

void ApplyTemplateCommand(TemplateCommandContext& ctx, std::int32_t TemplateID) {
  TemplateSource& dm = ctx.merge.dm;
  const Variant cached = dm.CacheLookup(kTemplateInCacheSql + std::to_string(TemplateID));
  if (cached.IsEmptyOrNull() && !dm.IsServerReachable()) {
    ctx.prompts.MessageDlg(kNeedOnlineForTemplate, MessageKind::Warning, Buttons::OK);
    return;
  }
  HourglassScope hourglass(ctx.pane);
  switch (ctx.merge.host) {
    case HostType::ohaWord: {
      TTemplateOptions options;
      options.Left = ctx.pane.ApplyButtonScreenLeft() + kDialogOffsetFromButton;
      if (ctx.prompts.ShowDialog(options) != ModalResult::mrOk) break;
      StatusScope status(ctx.merge.application);
      const bool applied = MergeActiveWordDocumentWithTemplate(ctx.merge, TemplateID, options.oHeader,
                                                               options.oFooter, options.oStyles);
      RecordOrComplain(ctx, applied, TemplateID, true);
      break;
    }
    case HostType::ohaPowerPoint:
      RecordOrComplain(ctx, MergeActiveppDocumentWithTemplate(ctx.merge, TemplateID), TemplateID, false);
      break;
    default:
      break;  // Excel and Publisher have no template to apply
  }
}

}  // namespace quillorn::automation
