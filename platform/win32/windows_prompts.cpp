#include "platform/win32/windows_prompts.h"

#include <stdexcept>
#include <string>

#include "platform/win32/wide_text.h"

namespace quillorn::platform {

UINT MessageBoxStyle(MessageKind kind, Buttons buttons) {
  UINT style = MB_TASKMODAL | MB_SETFOREGROUND;
  switch (kind) {
    case MessageKind::Warning: style |= MB_ICONWARNING; break;
    case MessageKind::Error: style |= MB_ICONERROR; break;
    case MessageKind::Information: style |= MB_ICONINFORMATION; break;
    case MessageKind::Confirmation: style |= MB_ICONQUESTION; break;
  }
  switch (buttons) {
    case Buttons::OK: style |= MB_OK; break;
    case Buttons::OKCancel: style |= MB_OKCANCEL; break;
    case Buttons::YesNo: style |= MB_YESNO; break;
    case Buttons::YesNoCancel: style |= MB_YESNOCANCEL; break;
    case Buttons::AbortRetryIgnore: style |= MB_ABORTRETRYIGNORE; break;
    case Buttons::RetryCancel: style |= MB_RETRYCANCEL; break;
  }
  return style;
}

ModalResult WindowsPrompts::MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) {
  const std::wstring body = Utf16FromUtf8(text);
  const std::wstring caption = Utf16FromUtf8(MessageKindCaption(kind));
  HWND owner = owner_ != nullptr ? owner_ : ::GetActiveWindow();
  const int answer = ::MessageBoxW(owner, body.c_str(), caption.c_str(), MessageBoxStyle(kind, buttons));
  // IDOK .. IDNO are the ModalResult values; anything else (a failed box, the
  // later IDTRYAGAIN family) counts as closing the box.
  if (answer >= IDOK && answer <= IDNO && ButtonsAllow(buttons, static_cast<ModalResult>(answer))) {
    return static_cast<ModalResult>(answer);
  }
  return ModalResult::mrCancel;
}

void WindowsPrompts::MessageBeep(unsigned type) { ::MessageBeep(type); }

ModalResult WindowsPrompts::ShowDialog(DialogModel& dialog) {
  throw std::logic_error("No form renderer for " + dialog.Name() + " on this platform");
}

}  // namespace quillorn::platform
