#include "platform/console_prompts.h"

#include <cctype>
#include <stdexcept>
#include <string>

namespace quillorn::platform {

namespace {

// Enough tries for a person; a script feeding garbage ends instead of spinning.
constexpr int kMaxTries = 10;

std::string Trim(const std::string& line) {
  const auto first = line.find_first_not_of(" \t\r");
  if (first == std::string::npos) return {};
  const auto last = line.find_last_not_of(" \t\r");
  return line.substr(first, last - first + 1);
}

std::optional<ModalResult> ReadAnswer(const std::string& answer, Buttons buttons) {
  if (const auto named = ParseModalResult(answer); named && ButtonsAllow(buttons, *named)) return named;
  if (answer.size() != 1) return std::nullopt;
  const char letter = static_cast<char>(std::tolower(static_cast<unsigned char>(answer[0])));
  for (const ModalResult result : ButtonResults(buttons)) {
    const auto name = ModalResultName(result);
    if (std::tolower(static_cast<unsigned char>(name[0])) == letter) return result;
  }
  return std::nullopt;
}

}  // namespace

ModalResult ConsolePrompts::ClosedAnswer(Buttons buttons) {
  if (ButtonsAllow(buttons, ModalResult::mrCancel)) return ModalResult::mrCancel;
  return ButtonResults(buttons).back();
}

ModalResult ConsolePrompts::MessageDlg(std::string_view text, MessageKind kind, Buttons buttons) {
  out_ << "[" << MessageKindCaption(kind) << "] ";
  // The system's texts use a bare carriage return as the line break.
  for (const char c : text) out_ << (c == '\r' ? '\n' : c);
  out_ << "\n";
  std::string choices;
  for (const ModalResult result : ButtonResults(buttons)) {
    if (!choices.empty()) choices += "/";
    choices += ModalResultName(result);
  }
  for (int attempt = 0; attempt < kMaxTries; ++attempt) {
    out_ << "  " << choices << "? " << std::flush;
    std::string line;
    if (!std::getline(in_, line)) break;
    if (const auto answer = ReadAnswer(Trim(line), buttons)) return *answer;
  }
  const ModalResult closed = ClosedAnswer(buttons);
  out_ << "\n  (" << ModalResultName(closed) << ")\n";
  return closed;
}

void ConsolePrompts::MessageBeep(unsigned) { out_ << '\a' << std::flush; }

ModalResult ConsolePrompts::ShowDialog(DialogModel& dialog) {
  out_ << "[Dialog " << dialog.Name() << "]\n";
  for (const auto& field : dialog.FieldNames()) out_ << "  " << field << "=" << dialog.GetField(field) << "\n";
  int refused = 0;
  std::string line;
  while (refused < kMaxTries && std::getline(in_, line)) {
    line = Trim(line);
    if (line.empty()) continue;
    if (const auto eq = line.find('='); eq != std::string::npos) {
      try {
        dialog.SetField(Trim(line.substr(0, eq)), line.substr(eq + 1));
      } catch (const std::invalid_argument& e) {
        out_ << "  " << e.what() << "\n";
        ++refused;
      }
      continue;
    }
    if (const auto result = dialog.Press(line)) return *result;
    ++refused;
  }
  // Closing the window, as a user would who gave up.
  if (const auto result = dialog.Press("Cancel")) return *result;
  return ModalResult::mrCancel;
}

}  // namespace quillorn::platform
