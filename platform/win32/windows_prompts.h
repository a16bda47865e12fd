// Message boxes and the beep on Windows. Boxes are modal to the host's window and
// its thread; the answer is MessageBoxW's. Dialog forms have no renderer here
// yet: ShowDialog refuses rather than pretending the user answered.
#pragma once

#include <windows.h>

#include "platform/prompts.h"

namespace quillorn::platform {

// MessageBoxW's style for a box of this kind with these buttons.
UINT MessageBoxStyle(MessageKind kind, Buttons buttons);

class WindowsPrompts final : public Prompts {
 public:
  // `owner` is the host's main window (null: the active window of the thread).
  explicit WindowsPrompts(HWND owner = nullptr) : owner_(owner) {}
  void SetOwner(HWND owner) { owner_ = owner; }

  ModalResult MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) override;
  void MessageBeep(unsigned type) override;
  // Raises std::logic_error: no form renderer exists on Windows yet.
  ModalResult ShowDialog(DialogModel& dialog) override;

 private:
  HWND owner_;
};

}  // namespace quillorn::platform
