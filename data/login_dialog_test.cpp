#include "data/login_dialog.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "data/connection_test_support.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

using platform::MessageKind;
using platform::ModalResult;
using platform::ScriptedPrompts;
using Cursor = TdlgLogin::TCursor;

TEST(TdlgLogin, OkChecksTheFieldsThenTheLogin) {
  // The failed lookup is logged: into a folder of the test's own.
  testing::TracedContext traced;
  foundation::ContextScope scope(traced.context);
  struct Case {
    const char* name;
    const char* login;
    const char* password;
    int answer;             // what the check gives; -2 makes it raise
    bool asked;             // the check was run, with the trimmed values
    std::optional<ModalResult> closes;
    const char* message;    // "" for none
    MessageKind kind;
    const char* focus;
    bool selected;
  };
  const std::vector<Case> cases = {
      {"no login", "", "pw", 5, false, std::nullopt, kEnterUsername, MessageKind::Warning, "edLogin", false},
      {"blank login", "   ", "pw", 5, false, std::nullopt, kEnterUsername, MessageKind::Warning, "edLogin", false},
      {"blank password", "bob", " \t ", 5, false, std::nullopt, kEnterPassword, MessageKind::Warning, "edPwd", false},
      {"good", "  bob ", " pw  ", 5, true, ModalResult::mrOk, "", MessageKind::Information, "edLogin", false},
      {"refused", "bob", "pw", 0, true, std::nullopt, kLoginIncorrect, MessageKind::Error, "edPwd", true},
      {"not verifiable", "bob", "pw", -1, true, ModalResult::mrOk, kLoginNotVerified, MessageKind::Error, "edLogin",
       false},
      {"lookup failed", "bob", "pw", -2, true, std::nullopt, "connection refused", MessageKind::Error, "edLogin",
       false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedPrompts prompts;
    if (*c.message != '\0') prompts.Answer({ModalResult::mrOk, c.message, c.kind});
    std::vector<std::pair<std::string, std::string>> asked;
    TdlgLogin dialog(prompts, [&](const std::string& login, const std::string& password) {
      asked.emplace_back(login, password);
      if (c.answer == -2) throw std::runtime_error("connection refused");
      return c.answer;
    });
    dialog.SetField("edLogin", c.login);
    dialog.SetField("edPwd", c.password);
    EXPECT_EQ(dialog.Press("Ok"), c.closes);
    EXPECT_EQ(prompts.Unanswered(), 0u);
    EXPECT_EQ(prompts.Shown().size(), *c.message != '\0' ? 1u : 0u);
    if (c.asked) {
      EXPECT_EQ(asked, (std::vector<std::pair<std::string, std::string>>{{"bob", "pw"}}));
      if (c.answer != -2) {
        EXPECT_EQ(dialog.UserID, c.answer);
      }
    } else {
      EXPECT_TRUE(asked.empty());
    }
    EXPECT_EQ(dialog.ModalResult, c.closes.value_or(ModalResult::mrNone));
    EXPECT_EQ(dialog.ActiveControl, c.focus);
    EXPECT_EQ(dialog.PasswordSelected, c.selected);
    EXPECT_EQ(dialog.Cursor(), Cursor::crDefault);
  }
}

TEST(TdlgLogin, HourglassOnlyWhileTheLoginIsChecked) {
  ScriptedPrompts prompts;
  std::vector<Cursor> changes;
  Cursor during = Cursor::crDefault;
  TdlgLogin* self = nullptr;
  TdlgLogin dialog(prompts, [&](const std::string&, const std::string&) {
    during = self->Cursor();
    return 3;
  });
  self = &dialog;
  dialog.OnCursorChange = [&](Cursor cursor) { changes.push_back(cursor); };
  dialog.edLogin = "bob";
  dialog.edPwd = "pw";
  EXPECT_EQ(dialog.Press("Ok"), ModalResult::mrOk);
  EXPECT_EQ(during, Cursor::crHourGlass);
  EXPECT_EQ(changes, (std::vector<Cursor>{Cursor::crHourGlass, Cursor::crDefault}));
}

TEST(TdlgLogin, CancelNeverChecksAndRetryClearsTheResult) {
  ScriptedPrompts prompts;
  int checks = 0;
  int answer = 0;
  TdlgLogin dialog(prompts, [&](const std::string&, const std::string&) {
    ++checks;
    return answer;
  });
  dialog.edLogin = "bob";
  dialog.edPwd = "pw";
  prompts.Answer({ModalResult::mrOk, kLoginIncorrect, MessageKind::Error});
  EXPECT_EQ(dialog.Press("Ok"), std::nullopt);
  answer = 4;
  EXPECT_EQ(dialog.Press("Ok"), ModalResult::mrOk);
  EXPECT_EQ(dialog.UserID, 4);
  EXPECT_EQ(dialog.Press("Cancel"), ModalResult::mrCancel);
  EXPECT_EQ(checks, 2);
  EXPECT_THROW(dialog.Press("Help"), std::invalid_argument);
  EXPECT_THROW(dialog.SetField("edUser", "x"), std::invalid_argument);
}

}  // namespace
}  // namespace quillorn::data
