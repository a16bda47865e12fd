#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include "platform/console_prompts.h"
#include "platform/prompts.h"
#include "platform/scripted_prompts.h"

namespace quillorn::platform {
namespace {

using enum ModalResult;

// A login-like dialog: OK is refused while the user name is empty.
class LoginDialog final : public DialogModel {
 public:
  std::string Name() const override { return "TfrmLogin"; }
  std::vector<std::string> FieldNames() const override { return {"User", "Password"}; }
  std::string GetField(std::string_view field) const override { return fields_.at(Check(field)); }
  void SetField(std::string_view field, std::string_view value) override { fields_[Check(field)] = value; }
  std::optional<ModalResult> Press(std::string_view button) override {
    ++presses;
    if (button == "Cancel") return mrCancel;
    if (button != "OK") throw std::invalid_argument("no button " + std::string(button));
    if (fields_["User"].empty()) return std::nullopt;
    return mrOk;
  }
  int presses = 0;

 private:
  static std::string Check(std::string_view field) {
    if (field != "User" && field != "Password") throw std::invalid_argument("no field " + std::string(field));
    return std::string(field);
  }
  std::map<std::string, std::string> fields_{{"User", ""}, {"Password", ""}};
};

TEST(Prompts, ResultNamesParseInEveryFormAndButtonsListTheirAnswers) {
  const std::pair<const char*, std::optional<ModalResult>> parse[] = {
      {"OK", mrOk}, {"mrOk", mrOk}, {"MRCANCEL", mrCancel}, {"yes", mrYes},
      {"No", mrNo}, {"retry", mrRetry}, {"mr", std::nullopt}, {"Yess", std::nullopt}, {"", std::nullopt}};
  for (const auto& [text, expected] : parse) EXPECT_EQ(ParseModalResult(text), expected) << text;

  EXPECT_EQ(ButtonResults(Buttons::YesNoCancel), (std::vector<ModalResult>{mrYes, mrNo, mrCancel}));
  EXPECT_EQ(ButtonResults(Buttons::AbortRetryIgnore), (std::vector<ModalResult>{mrAbort, mrRetry, mrIgnore}));
  EXPECT_TRUE(ButtonsAllow(Buttons::RetryCancel, mrCancel));
  EXPECT_FALSE(ButtonsAllow(Buttons::YesNo, mrCancel));
  EXPECT_FALSE(ButtonsAllow(Buttons::OK, mrNone));
}

TEST(ScriptedPrompts, AnswersInOrderAndRecordsEveryPrompt) {
  ScriptedPrompts prompts;
  prompts.Answer(mrYes)
      .Answer({mrCancel, "Do you want to save the changes to ", MessageKind::Warning, true})
      .Answer({mrOk, "Done.", MessageKind::Information});
  prompts.MessageBeep(0x20);
  EXPECT_EQ(prompts.MessageDlg("Wait a bit longer?", MessageKind::Confirmation, Buttons::YesNo), mrYes);
  EXPECT_EQ(prompts.MessageDlg("Do you want to save the changes to \"a.docx\"?", MessageKind::Warning,
                               Buttons::YesNoCancel),
            mrCancel);
  EXPECT_EQ(prompts.MessageDlg("Done.", MessageKind::Information, Buttons::OK), mrOk);
  EXPECT_EQ(prompts.Unanswered(), 0u);
  ASSERT_EQ(prompts.Shown().size(), 3u);
  EXPECT_EQ(prompts.Shown()[1].text, "Do you want to save the changes to \"a.docx\"?");
  EXPECT_EQ(prompts.Shown()[1].buttons, Buttons::YesNoCancel);
  EXPECT_EQ(prompts.Shown()[1].answer, mrCancel);
  EXPECT_EQ(prompts.Beeps(), (std::vector<unsigned>{0x20}));
}

TEST(ScriptedPrompts, FailsLoudlyWithThePromptsTextWhenTheScriptDoesNotFit) {
  struct Case {
    const char* name;
    std::function<void(ScriptedPrompts&)> script;
    const char* reason_part;
  };
  const Case cases[] = {
      {"nothing scripted", [](auto&) {}, "no answer left"},
      {"other text", [](auto& p) { p.Answer({mrYes, "Check in?"}); }, "expected \"Check in?\""},
      {"whole text required", [](auto& p) { p.Answer({mrYes, "Save"}); }, "expected \"Save\""},
      {"other kind", [](auto& p) { p.Answer({mrYes, std::nullopt, MessageKind::Error}); }, "expected kind Error"},
      {"answer not a button", [](auto& p) { p.Answer(mrOk); }, "OK is not a button"},
      {"dialog expected", [](auto& p) { p.AnswerDialog({"TfrmLogin", {}, "OK"}); }, "a dialog was expected"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedPrompts prompts;
    c.script(prompts);
    const std::size_t scripted = prompts.Unanswered();
    try {
      prompts.MessageDlg("Save the document?", MessageKind::Confirmation, Buttons::YesNo);
      ADD_FAILURE() << "no failure";
    } catch (const UnexpectedPrompt& e) {
      EXPECT_EQ(e.PromptText(), "Save the document?");
      EXPECT_NE(std::string(e.what()).find(c.reason_part), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("\"Save the document?\""), std::string::npos) << e.what();
    }
    EXPECT_EQ(prompts.Unanswered(), scripted);  // a misfit is not consumed
    EXPECT_EQ(prompts.Shown().size(), 1u);
  }
}

TEST(ScriptedPrompts, DialogsAreFilledAndPressedWithRetriesAndNestedMessages) {
  ScriptedPrompts prompts;
  LoginDialog dialog;
  prompts.AnswerDialog({"TfrmLogin", {{"Password", "x"}}, "OK"})  // refused: no user
      .AnswerDialog({"TfrmLogin", {{"User", "ann"}}, "OK"});
  EXPECT_EQ(prompts.ShowDialog(dialog), mrOk);
  EXPECT_EQ(dialog.GetField("User"), "ann");
  EXPECT_EQ(dialog.GetField("Password"), "x");
  EXPECT_EQ(dialog.presses, 2);
  EXPECT_EQ(prompts.Shown().back().answer, mrOk);

  LoginDialog stuck;
  prompts.AnswerDialog({"", {}, "OK"});
  EXPECT_THROW(prompts.ShowDialog(stuck), UnexpectedPrompt);

  LoginDialog other;
  prompts.AnswerDialog({"TfrmOptions", {}, "OK"});
  try {
    prompts.ShowDialog(other);
    ADD_FAILURE() << "no failure";
  } catch (const UnexpectedPrompt& e) {
    EXPECT_EQ(e.PromptText(), "TfrmLogin");
  }
  prompts.Answer(mrOk);
  EXPECT_THROW(prompts.ShowDialog(other), UnexpectedPrompt);
}

TEST(ConsolePrompts, ReadsNamesOrLettersAndTreatsEndOfInputAsClosing) {
  struct Case {
    const char* input;
    Buttons buttons;
    ModalResult expected;
  };
  const Case cases[] = {
      {"y\n", Buttons::YesNo, mrYes},
      {"  No \n", Buttons::YesNoCancel, mrNo},
      {"maybe\nOK\nr\n", Buttons::RetryCancel, mrRetry},  // not a button, then OK is not one either
      {"", Buttons::YesNoCancel, mrCancel},
      {"", Buttons::YesNo, mrNo},
      {"", Buttons::OK, mrOk},
      {"i\n", Buttons::AbortRetryIgnore, mrIgnore},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.input);
    std::istringstream in(c.input);
    std::ostringstream out;
    ConsolePrompts prompts(in, out);
    EXPECT_EQ(prompts.MessageDlg("Line one\rLine two", MessageKind::Warning, c.buttons), c.expected);
    EXPECT_EQ(out.str().rfind("[Warning] Line one\nLine two\n", 0), 0u) << out.str();
  }
}

TEST(ConsolePrompts, DialogTakesFieldLinesThenAButton) {
  std::istringstream in("Colour=red\nUser=bob\nOK\n");
  std::ostringstream out;
  ConsolePrompts prompts(in, out);
  LoginDialog dialog;
  EXPECT_EQ(prompts.ShowDialog(dialog), mrOk);
  EXPECT_EQ(dialog.GetField("User"), "bob");
  EXPECT_NE(out.str().find("no field Colour"), std::string::npos) << out.str();

  std::istringstream refused("OK\n");
  ConsolePrompts gives_up(refused, out);
  LoginDialog empty;
  EXPECT_EQ(gives_up.ShowDialog(empty), mrCancel);
}

}  // namespace
}  // namespace quillorn::platform
