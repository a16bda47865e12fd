#include "platform/prompts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace quillorn::platform {

namespace {

constexpr std::array<std::pair<ModalResult, std::string_view>, 8> kResultNames{{
    {ModalResult::mrNone, "None"},
    {ModalResult::mrOk, "OK"},
    {ModalResult::mrCancel, "Cancel"},
    {ModalResult::mrAbort, "Abort"},
    {ModalResult::mrRetry, "Retry"},
    {ModalResult::mrIgnore, "Ignore"},
    {ModalResult::mrYes, "Yes"},
    {ModalResult::mrNo, "No"},
}};

bool EqualsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::string_view MessageKindCaption(MessageKind kind) {
  switch (kind) {
    case MessageKind::Warning: return "Warning";
    case MessageKind::Error: return "Error";
    case MessageKind::Information: return "Information";
    case MessageKind::Confirmation: return "Confirm";
  }
  return "Message";
}

std::string_view ModalResultName(ModalResult result) {
  for (const auto& [value, name] : kResultNames)
    if (value == result) return name;
  return "None";
}

std::optional<ModalResult> ParseModalResult(std::string_view text) {
  if (text.size() > 2 && EqualsIgnoringCase(text.substr(0, 2), "mr")) text.remove_prefix(2);
  for (const auto& [value, name] : kResultNames)
    if (EqualsIgnoringCase(text, name)) return value;
  return std::nullopt;
}

std::string_view ButtonsName(Buttons buttons) {
  switch (buttons) {
    case Buttons::OK: return "OK";
    case Buttons::OKCancel: return "OKCancel";
    case Buttons::YesNo: return "YesNo";
    case Buttons::YesNoCancel: return "YesNoCancel";
    case Buttons::AbortRetryIgnore: return "AbortRetryIgnore";
    case Buttons::RetryCancel: return "RetryCancel";
  }
  return "?";
}

std::vector<ModalResult> ButtonResults(Buttons buttons) {
  using enum ModalResult;
  switch (buttons) {
    case Buttons::OK: return {mrOk};
    case Buttons::OKCancel: return {mrOk, mrCancel};
    case Buttons::YesNo: return {mrYes, mrNo};
    case Buttons::YesNoCancel: return {mrYes, mrNo, mrCancel};
    case Buttons::AbortRetryIgnore: return {mrAbort, mrRetry, mrIgnore};
    case Buttons::RetryCancel: return {mrRetry, mrCancel};
  }
  return {};
}

bool ButtonsAllow(Buttons buttons, ModalResult result) {
  const auto results = ButtonResults(buttons);
  return std::find(results.begin(), results.end(), result) != results.end();
}

}  // namespace quillorn::platform
