#include "automation/protection.h"

#include "foundation/guarded.h"
#include "foundation/log.h"
#include "platform/office_constants.h"

namespace quillorn::automation {

using foundation::LogTrace;
using platform::Variant;
using I = std::int32_t;

void ProtectDocument(HostType host, const Variant& Doc) {
  foundation::Guarded("PROC: ProtectDocument", [&] {
    LogTrace("ProtectDocument", "");
    switch (host) {
      case HostType::ohaWord:
        // NoReset: form fields keep what the user typed into them.
        Doc.Call("Protect", {platform::kWdAllowOnlyFormFields, true, kProtectionPassword});
        break;
      case HostType::ohaExcel: {
        Variant sheets = Doc.Get("Worksheets");
        const I count = sheets.Get("Count").AsInt();
        for (I i = 1; i <= count; ++i) sheets.Get("Item", {i}).Call("Protect", {kProtectionPassword});
        Doc.Call("Protect", {kProtectionPassword, true});  // Structure
        break;
      }
      case HostType::ohaPowerPoint:
        Doc.Put("Final", Variant(true));
        break;
      default:
        break;
    }
  });
}

bool UnprotectDocument(HostType host, const Variant& Doc, bool READ_ONLY) {
  bool result = READ_ONLY;
  foundation::Quietly([&] {
    switch (host) {
      case HostType::ohaWord:
        result = Doc.Get("ProtectionType").AsInt() != platform::kWdNoProtection;
        LogTrace("UnprotectDocument", "");
        Doc.Call("Unprotect", {kProtectionPassword});
        break;
      case HostType::ohaExcel: {
        result = Doc.Get("ProtectStructure").AsBool();
        LogTrace("UnprotectDocument", "");
        // The workbook comes first here, where ProtectDocument takes it last.
        Doc.Call("Unprotect", {kProtectionPassword});
        Variant sheets = Doc.Get("Worksheets");
        const I count = sheets.Get("Count").AsInt();
        for (I i = 1; i <= count; ++i) sheets.Get("Item", {i}).Call("Unprotect", {kProtectionPassword});
        break;
      }
      case HostType::ohaPowerPoint:
        // Final doesn't tell whether the user may edit; READ_ONLY stands.
        Doc.Put("Final", Variant(false));
        break;
      default:
        break;
    }
  });
  return result;
}

}  // namespace quillorn::automation
