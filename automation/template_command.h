// The task pane's "apply template" command: checks the template can be had,
// asks Word users which parts to apply, runs the merge, tells the user when it
// failed and records the template on the document. The pane supplies the
// template id, the cursor and where its button sits; nothing here draws.
#pragma once

#include <cstdint>

#include "automation/template_merge.h"
#include "platform/prompts.h"

namespace quillorn::automation {

enum class ScreenCursor { crDefault, crHourGlass };

// What the command needs of the pane it runs in.
class TemplatePane {
 public:
  virtual ~TemplatePane() = default;
  virtual void SetCursor(ScreenCursor cursor) = 0;
  // The screen x of the pane's bTemplateApply button.
  virtual int ApplyButtonScreenLeft() const = 0;
};

inline constexpr char kTemplateInCacheSql[] =
    "select doc_no from templates where (source is not null) and doc_no=";
inline constexpr char kNeedOnlineForTemplate[] =
    "You need to be online to retrieve the template from the server!";
inline constexpr char kTemplateProblem[] = "There was a problem applying the template.";
inline constexpr char kApplyingTemplate[] = "Applying selected template ...";

struct TemplateCommandContext {
  TemplateContext merge;
  platform::Prompts& prompts;
  TemplatePane& pane;
};

// bTemplateApplyClick with the template combo box's value. Excel applies nothing.
void ApplyTemplateCommand(TemplateCommandContext& ctx, std::int32_t TemplateID);

}  // namespace quillorn::automation
