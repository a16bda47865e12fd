#include "workflow/document_close.h"

#include <exception>
#include <string>

#include "data/records.h"
#include "foundation/context.h"
#include "foundation/guarded.h"
#include "foundation/log.h"
#include "platform/office_constants.h"

namespace quillorn::workflow {

using foundation::LogTrace;

namespace {

// PowerPoint's Saved is a tri-state: msoTrue.

std::int32_t CountOf(const Variant& application, std::string_view collection) {
  return application.Get(collection).Get("Count").AsInt();
}

// A close that fails leaves the document to the user; the exit goes on.
void CloseQuietly(const Variant& application, std::string_view active, bool passSaveChanges) {
  foundation::Quietly([&] {
    const Variant doc = application.Get(active);
    if (passSaveChanges) {
      doc.Call("Close", {false});
    } else {
      doc.Call("Close");
    }
  });
}

}  // namespace

bool DocumentClosing::DocumentCloseEvent() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  records.Context().ProcName = "DocumentCloseEvent";
  bool result = false;
  const data::FilesRecord row = records.Files();
  if (row.IGNORE || row.OLE_IGNORE) return result;

  const HostType host = site_.Host();
  const Variant doc = tracking_.GetActiveDoc();
  if (row.READ_ONLY) {
    // PowerPoint's before-close handler has marked it already.
    if (host == HostType::ohaWord || host == HostType::ohaExcel) doc.Put("Saved", true);
  } else if (!doc.Get("Saved").AsBool()) {
    std::string question = "Do you want to save the changes to \"" + records.Doc().DOC_NAME + "\"?";
    if (row.CHECKED_OUT) {
      question += "\r\r(The document will not be checked-in at this point)";
    }
    site_.Prompts().MessageBeep(0x20);
    switch (site_.Prompts().MessageDlg(question, platform::MessageKind::Warning, platform::Buttons::YesNoCancel)) {
      case platform::ModalResult::mrYes:
        saving_.DocumentSave();
        break;
      case platform::ModalResult::mrNo:
        // The host must not ask a second time.
        if (host == HostType::ohaWord || host == HostType::ohaExcel) doc.Put("Saved", true);
        if (host == HostType::ohaPowerPoint) doc.Put("Saved", platform::kMsoTrue);
        break;
      default:
        result = true;
        break;
    }
  }

  if (!result) {
    const Variant application = site_.Application();
    bool last = false;
    switch (host) {
      case HostType::ohaWord:
        last = CountOf(application, "Documents") == 1;
        break;
      case HostType::ohaExcel:
        last = CountOf(application, "Workbooks") == 1;
        break;
      case HostType::ohaPowerPoint:
        // Later versions leave the last presentation's window to the user.
        last = site_.OfficeVersion() == 2007 && CountOf(application, "Presentations") == 1;
        break;
      case HostType::ohaPublisher:
        break;
    }
    if (last) ExitDocument();
  }
  return result;
}

void DocumentClosing::ExitDocument() {
  data::DocumentRecords& records = site_.Records();
  foundation::ContextScope scope(records.Context());
  records.Context().ProcName = "TAddInModule.ExitDocument";
  LogTrace("ExitDocument", "");
  foundation::ReentryFlag::Scope closing = site_.mInternalClose().SetWhile();
  const Variant application = site_.Application();

  auto leaveDocument = [this] {
    site_.ShowQuillornTabs(false);
    site_.HideQuillornPane();
    site_.SetQuillornRibbonButtonStates();
  };

  switch (site_.Host()) {
    case HostType::ohaWord:
      if (CountOf(application, "Documents") > 1) {
        leaveDocument();
        CloseQuietly(application, "ActiveDocument", true);
      } else {
        // The flag stays set: Word's closing events from here on are its own.
        closing.Keep();
        saving_.DoWaitForCompletion();
        application.Call("Quit", {false});
        site_.DisconnectApplication();
      }
      break;
    case HostType::ohaExcel: {
      const std::int32_t count = CountOf(application, "Workbooks");
      LogTrace("ExitDocument", "Workbooks.Count = " + std::to_string(count));
      if (count > 1) {
        leaveDocument();
        CloseQuietly(application, "ActiveWorkbook", true);
      } else {
        saving_.DoWaitForCompletion();
        CloseQuietly(application, "ActiveWorkbook", true);
        // Excel can't be told to quit inside the events of its own last workbook.
        LogTrace("ExitDocument", "ShutdownTimer.Enabled");
        site_.ShutdownTimer().SetEnabled(true);
      }
      break;
    }
    case HostType::ohaPowerPoint:
      if (CountOf(application, "Presentations") > 1) {
        leaveDocument();
        // Left set on purpose: no more close prompts in this process until the
        // last presentation goes.
        closing.Keep();
        CloseQuietly(application, "ActivePresentation", false);
      } else {
        saving_.DoWaitForCompletion();
        CloseQuietly(application, "ActivePresentation", false);
        site_.ShutdownTimer().SetEnabled(true);
      }
      break;
    case HostType::ohaPublisher:
      // Publisher quits: the flag stays with the add-in that goes with it.
      closing.Keep();
      saving_.DoWaitForCompletion();
      application.Call("Quit");
      leaveDocument();
      break;
  }
}

void DocumentClosing::ShutdownTimerTimer() {
  site_.ShutdownTimer().SetEnabled(false);
  foundation::Quietly([&] {
    switch (site_.Host()) {
      case HostType::ohaExcel:
        site_.Application().Call("Quit");
        site_.DisconnectApplication();
        break;
      case HostType::ohaPowerPoint:
        // PowerPoint may stay after the first Quit; the second finds it gone
        // and raises, which is swallowed like any other failure here.
        for (int i = 0; i < 2; ++i) {
          site_.Application().Call("Quit");
          site_.DisconnectApplication();
        }
        break;
      default:
        break;
    }
  });
}

}  // namespace quillorn::workflow
