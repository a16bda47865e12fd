#include "toolbox/toolbox_layout.h"

#include <array>

#include "foundation/paths.h"

namespace quillorn::toolbox {
namespace {

using K = ControlKind;

// clang-format off
constexpr std::array kLayout{
    ControlDef{"tsProperties", "Properties", K::Tab, "", "", "", "", ""},
    ControlDef{"cpProperties", " Properties ", K::Group, "tsProperties", "", "", "", ""},
    ControlDef{"edDocName", "Document name", K::Edit, "cpProperties", "DOC_NAME", "", "", ""},
    ControlDef{"DBTextEdit2", "Created date", K::Text, "cpProperties", "CREATED_DATE", "", "", ""},
    ControlDef{"DBTextEdit3", "Created by", K::Text, "cpProperties", "CREATED_BY_STR", "", "", ""},
    ControlDef{"lTemplate", "Template", K::Label, "cpProperties", "", "", "", ""},
    ControlDef{"cTemplate", "", K::Lookup, "cpProperties", "", "sTemplates", "doc_no", "doc_name"},
    ControlDef{"bTemplatesRefresh", "", K::Image, "cpProperties", "", "", "", ""},
    ControlDef{"bTemplateApply", "Reapply Template", K::Button, "cpProperties", "", "", "", ""},
    ControlDef{"cpPublishingOptions", " Publishing Options ", K::Group, "tsProperties", "", "", "", ""},
    ControlDef{"Image2", "", K::Image, "cpPublishingOptions", "", "", "", ""},
    ControlDef{"cbPublishPrivate", "Publish as Private", K::Check, "cpPublishingOptions", "PUBLISH_PRIVATE", "", "", ""},
    ControlDef{"Image3", "", K::Image, "cpPublishingOptions", "", "", "", ""},
    ControlDef{"cbPublishPublic", "Publish as Public", K::Check, "cpPublishingOptions", "PUBLISH_PUBLIC", "", "", ""},
    ControlDef{"Image4", "", K::Image, "cpPublishingOptions", "", "", "", ""},
    ControlDef{"cbPublishUnprotected", "Publish as Unprotected", K::Check, "cpPublishingOptions", "PUBLISH_UNPROTECTED", "", "", ""},
    ControlDef{"cpRevision", " Revision Details ", K::Group, "tsProperties", "", "", "", ""},
    ControlDef{"edVer", "Revision", K::Edit, "cpRevision", "VER", "", "", ""},
    ControlDef{"edVerDate", "Revision date", K::Date, "cpRevision", "VER_DATE", "", "", ""},
    ControlDef{"DBLookupComboBox2", "Review interval", K::Lookup, "cpRevision", "REVIEW_INTERVAL", "sReviewIntervals", "id", "descript"},
    ControlDef{"DBDateEdit1", "Next review", K::Date, "cpRevision", "NEXT_REVIEW", "", "", ""},
    ControlDef{"DBLookupComboBox3", "Approval by", K::Lookup, "cpRevision", "APPROVAL_BY", "sApprovalUsers", "USER_ID", "APPROVAL_USER"},
    ControlDef{"DBMemo1", "Revision notes", K::Memo, "cpRevision", "NOTES", "", "", ""},
    ControlDef{"cpTemplateSettings", "", K::Group, "tsProperties", "", "", "", ""},
    ControlDef{"lTemplateSettings", "When applying this template to documents always...", K::Label, "cpTemplateSettings", "", "", "", ""},
    ControlDef{"rbTemplate1", "keep original page formatting", K::Radio, "cpTemplateSettings", "", "", "", ""},
    ControlDef{"rbTemplate2", "use template's page formatting", K::Radio, "cpTemplateSettings", "", "", "", ""},
    ControlDef{"StatusPanel", " Revision Status ", K::Group, "tsProperties", "", "", "", ""},
    ControlDef{"Image1", "", K::Image, "StatusPanel", "", "", "", ""},
    ControlDef{"lblStatus", "", K::Label, "StatusPanel", "", "", "", ""},
    ControlDef{"edStatusBy", "Set by", K::Text, "StatusPanel", "STATUS_BY_STR", "", "", ""},
    ControlDef{"edStatusDate", "Date", K::Text, "StatusPanel", "STATUS_DATE", "", "", ""},
    // The web form's page is a frame of its own, filled by the web field designer.
    ControlDef{"tsForms", "Web Form", K::Tab, "", "", "", "", ""},
    ControlDef{"tsTagging", "Tagging", K::Tab, "", "", "", "", ""},
    ControlDef{"DBMemo2", "Enter a list of keywords which will be used in cataloging this document for searches",
               K::Memo, "tsTagging", "KEYWORDS", "", "", ""},
    ControlDef{"tsWorkflow", "Workflow", K::Tab, "", "", "", "", ""},
    ControlDef{"gbActions", "Actions", K::Group, "tsWorkflow", "", "", "", ""},
    ControlDef{"DBLookupComboBox1", "Approval by", K::Lookup, "gbActions", "APPROVAL_BY", "sApprovalUsers", "USER_ID", "APPROVAL_USER"},
    ControlDef{"gbNotifications", "Notifications", K::Group, "tsWorkflow", "", "", "", ""},
};
// clang-format on

}  // namespace

const char* KindName(ControlKind kind) {
  switch (kind) {
    case K::Tab: return "tab";
    case K::Group: return "group";
    case K::Label: return "label";
    case K::Text: return "text";
    case K::Edit: return "edit";
    case K::Memo: return "memo";
    case K::Date: return "date";
    case K::Check: return "check box";
    case K::Lookup: return "list";
    case K::Radio: return "radio button";
    case K::Button: return "button";
    case K::Image: return "image";
  }
  return "control";
}

std::span<const ControlDef> ToolBoxLayout() { return kLayout; }

const ControlDef* FindControlDef(std::string_view name) {
  const std::string lower = foundation::LowerCase(std::string(name));
  for (const ControlDef& def : kLayout) {
    if (foundation::LowerCase(std::string(def.name)) == lower) return &def;
  }
  return nullptr;
}

}  // namespace quillorn::toolbox
