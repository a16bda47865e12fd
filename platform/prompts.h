// The user prompt seam: message boxes in four kinds with fixed button sets, the
// beep, and modal dialogs whose logic lives in a view-model. The platform only
// shows and answers; it never decides what a dialog's fields mean.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::platform {

// Windows: MB_ICONWARNING, MB_ICONERROR, MB_ICONINFORMATION, MB_ICONQUESTION.
enum class MessageKind { Warning, Error, Information, Confirmation };

// Windows: MB_OK, MB_OKCANCEL, MB_YESNO, MB_YESNOCANCEL, MB_ABORTRETRYIGNORE, MB_RETRYCANCEL.
enum class Buttons { OK, OKCancel, YesNo, YesNoCancel, AbortRetryIgnore, RetryCancel };

// The values are MessageBoxW's IDOK ... IDNO, so the Windows side passes them through.
enum class ModalResult { mrNone = 0, mrOk = 1, mrCancel = 2, mrAbort = 3, mrRetry = 4, mrIgnore = 5, mrYes = 6, mrNo = 7 };

// "Warning", "Error", "Information", "Confirm": the title a message box gets.
std::string_view MessageKindCaption(MessageKind kind);
// "OK", "Cancel", "Yes" ...; "None" for mrNone.
std::string_view ModalResultName(ModalResult result);
// Accepts the names above and the mr-prefixed forms, in any case; nullopt otherwise.
std::optional<ModalResult> ParseModalResult(std::string_view text);
std::string_view ButtonsName(Buttons buttons);
// The answers a box with these buttons can give, in the order they are shown.
std::vector<ModalResult> ButtonResults(Buttons buttons);
bool ButtonsAllow(Buttons buttons, ModalResult result);

// A modal dialog's logic, rendered by the platform and driven by scripts the
// same way a user drives it: fill fields, press a button.
class DialogModel {
 public:
  virtual ~DialogModel() = default;
  // The form's class name, e.g. "TfrmLogin"; scripts name dialogs by it.
  virtual std::string Name() const = 0;
  virtual std::vector<std::string> FieldNames() const = 0;
  // Both raise std::invalid_argument for a field the dialog does not have.
  virtual std::string GetField(std::string_view field) const = 0;
  virtual void SetField(std::string_view field, std::string_view value) = 0;
  // Presses the button with this caption. The dialog's answer when the press
  // closes it, nullopt when it stays open (a check refused the input).
  virtual std::optional<ModalResult> Press(std::string_view button) = 0;
};

// Main thread only. Windows: MessageBoxW, MessageBeep, and a modal form per model.
class Prompts {
 public:
  virtual ~Prompts() = default;
  virtual ModalResult MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) = 0;
  // `type` is MessageBeep's: 0x20 (question), 0x30, 0x40, 0x10, 0 or 0xFFFFFFFF.
  virtual void MessageBeep(unsigned type) = 0;
  virtual ModalResult ShowDialog(DialogModel& dialog) = 0;
};

}  // namespace quillorn::platform
