#include "platform/scripted_prompts.h"

namespace quillorn::platform {

namespace {

std::string Describe(std::string_view text, MessageKind kind, Buttons buttons) {
  return std::string(MessageKindCaption(kind)) + " [" + std::string(ButtonsName(buttons)) + "] \"" +
         std::string(text) + "\"";
}

}  // namespace

UnexpectedPrompt::UnexpectedPrompt(const std::string& reason, std::string prompt_text)
    : std::runtime_error(reason), prompt_text_(std::move(prompt_text)) {}

ScriptedPrompts& ScriptedPrompts::Answer(ModalResult answer) { return Answer(MessageAnswer{answer, {}, {}}); }

ScriptedPrompts& ScriptedPrompts::Answer(MessageAnswer answer) {
  script_.emplace_back(std::move(answer));
  return *this;
}

ScriptedPrompts& ScriptedPrompts::AnswerDialog(DialogAnswer answer) {
  script_.emplace_back(std::move(answer));
  return *this;
}

ModalResult ScriptedPrompts::MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) {
  shown_.push_back({PromptRecord::Type::Message, std::string(text), kind, buttons, ModalResult::mrNone});
  const std::string what = Describe(text, kind, buttons);
  if (script_.empty()) throw UnexpectedPrompt("Unexpected prompt, no answer left: " + what, std::string(text));
  const auto* next = std::get_if<MessageAnswer>(&script_.front());
  if (next == nullptr)
    throw UnexpectedPrompt("Unexpected prompt, a dialog was expected: " + what, std::string(text));
  if (next->kind && *next->kind != kind)
    throw UnexpectedPrompt("Unexpected prompt, expected kind " + std::string(MessageKindCaption(*next->kind)) +
                               ": " + what,
                           std::string(text));
  if (next->text) {
    const bool matches = next->partial ? text.find(*next->text) != std::string_view::npos : text == *next->text;
    if (!matches)
      throw UnexpectedPrompt("Unexpected prompt, expected \"" + *next->text + "\": " + what, std::string(text));
  }
  if (!ButtonsAllow(buttons, next->answer))
    throw UnexpectedPrompt("Scripted answer " + std::string(ModalResultName(next->answer)) +
                               " is not a button of: " + what,
                           std::string(text));
  const ModalResult answer = next->answer;
  script_.pop_front();
  shown_.back().answer = answer;
  return answer;
}

ModalResult ScriptedPrompts::ShowDialog(DialogModel& dialog) {
  const std::string name = dialog.Name();
  shown_.push_back({PromptRecord::Type::Dialog, name});
  const std::size_t record = shown_.size() - 1;
  // A press that the dialog refuses keeps it open; the next scripted step for
  // the same dialog is the user's second try.
  for (;;) {
    if (script_.empty()) throw UnexpectedPrompt("Unexpected dialog, no answer left: " + name, name);
    auto* next = std::get_if<DialogAnswer>(&script_.front());
    if (next == nullptr) throw UnexpectedPrompt("Unexpected dialog, a message box was expected: " + name, name);
    if (!next->dialog.empty() && next->dialog != name)
      throw UnexpectedPrompt("Unexpected dialog " + name + ", expected " + next->dialog, name);
    const DialogAnswer step = std::move(*next);
    script_.pop_front();
    for (const auto& [field, value] : step.fields) dialog.SetField(field, value);
    shown_[record].fields.insert(shown_[record].fields.end(), step.fields.begin(), step.fields.end());
    shown_[record].pressed = step.press;
    if (const auto result = dialog.Press(step.press)) {
      shown_[record].answer = *result;
      return *result;
    }
    if (script_.empty() || !std::holds_alternative<DialogAnswer>(script_.front()))
      throw UnexpectedPrompt("Dialog " + name + " stayed open after " + step.press + " and the script has no next try",
                             name);
  }
}

}  // namespace quillorn::platform
