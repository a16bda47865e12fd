// Prompts answered from a script, for tests and scenario runs: every prompt
// shown is recorded, and one the script has no fitting answer for fails loudly
// with its text. Never invents an answer and never blocks.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/prompts.h"

namespace quillorn::platform {

// A prompt nobody expected, or one that did not match what the script expected.
class UnexpectedPrompt : public std::runtime_error {
 public:
  UnexpectedPrompt(const std::string& reason, std::string prompt_text);
  // The message text, or the dialog's name.
  const std::string& PromptText() const noexcept { return prompt_text_; }

 private:
  std::string prompt_text_;
};

// The answer to the next message box, with optional checks on it.
struct MessageAnswer {
  ModalResult answer;
  std::optional<std::string> text;  // expected text: the whole text, or a part when `partial`
  std::optional<MessageKind> kind;
  bool partial = false;
};

// What a user does in the next dialog: fill these fields, in order, then press.
struct DialogAnswer {
  std::string dialog;  // expected DialogModel::Name(); empty accepts any
  std::vector<std::pair<std::string, std::string>> fields;
  std::string press;
};

struct PromptRecord {
  enum class Type { Message, Dialog };
  Type type;
  std::string text;  // the message, or the dialog's name
  MessageKind kind = MessageKind::Information;
  Buttons buttons = Buttons::OK;
  ModalResult answer = ModalResult::mrNone;
  // A dialog's: the fields the script filled and the button that closed it.
  std::vector<std::pair<std::string, std::string>> fields;
  std::string pressed;
};

class ScriptedPrompts final : public Prompts {
 public:
  ScriptedPrompts& Answer(ModalResult answer);
  ScriptedPrompts& Answer(MessageAnswer answer);
  ScriptedPrompts& AnswerDialog(DialogAnswer answer);

  ModalResult MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) override;
  void MessageBeep(unsigned type) override { beeps_.push_back(type); }
  ModalResult ShowDialog(DialogModel& dialog) override;

  const std::vector<PromptRecord>& Shown() const noexcept { return shown_; }
  const std::vector<unsigned>& Beeps() const noexcept { return beeps_; }
  std::size_t Unanswered() const noexcept { return script_.size(); }

 private:
  std::deque<std::variant<MessageAnswer, DialogAnswer>> script_;
  std::vector<PromptRecord> shown_;
  std::vector<unsigned> beeps_;
};

}  // namespace quillorn::platform
