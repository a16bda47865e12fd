// Prompts on a text console, for the simulator run by hand: the box is printed
// and the answer read as a line. Never waits for ever on a closed input: the
// end of input answers as closing the box would.
#pragma once

#include <istream>
#include <ostream>

#include "platform/prompts.h"

namespace quillorn::platform {

class ConsolePrompts final : public Prompts {
 public:
  ConsolePrompts(std::istream& in, std::ostream& out) : in_(in), out_(out) {}

  // Answers are a button's name or its first letter ("y", "No", "retry").
  ModalResult MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) override;
  void MessageBeep(unsigned type) override;
  // Lines "field=value" fill fields; any other line presses the button it names.
  ModalResult ShowDialog(DialogModel& dialog) override;

  // What closing the box gives: Cancel where there is one, else the last button.
  static ModalResult ClosedAnswer(Buttons buttons);

 private:
  std::istream& in_;
  std::ostream& out_;
};

}  // namespace quillorn::platform
