#include "data/login_dialog.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "data/data_test_support.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

using platform::MessageKind;
using platform::ModalResult;
using Cursor = TdlgLogin::TCursor;

TEST(TdlgLogin, OkChecksTheFieldsThenTheLoginUnderTheHourglass) {
  // The failed lookup is logged: into a folder of the test's own.
  testing::TracedContext traced;
  foundation::ContextScope scope(traced.context);
  struct Case {
    const char* name;
    const char *login = "bob", *password = "pw";
    int answer = 5;  // what the check gives; -2 makes it raise
    bool asked = true;  // with the trimmed values
    std::optional<ModalResult> closes;
    const char* message = nullptr;
    MessageKind kind = MessageKind::Error;
    const char* focus = "edLogin";
    bool selected = false;
  };
  const std::vector<Case> cases = {
      {.name = "blank login", .login = "   ", .asked = false, .message = kEnterUsername, .kind = MessageKind::Warning},
      {.name = "blank password", .password = " \t ", .asked = false, .message = kEnterPassword,
       .kind = MessageKind::Warning, .focus = "edPwd"},
      {.name = "good, trimmed", .login = "  bob ", .password = " pw  ", .closes = ModalResult::mrOk},
      {.name = "refused", .answer = 0, .message = kLoginIncorrect, .focus = "edPwd", .selected = true},
      {.name = "not verifiable", .answer = -1, .closes = ModalResult::mrOk, .message = kLoginNotVerified},
      {.name = "lookup failed", .answer = -2, .message = "connection refused"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    platform::ScriptedPrompts prompts;
    if (c.message) prompts.Answer({ModalResult::mrOk, c.message, c.kind});
    std::vector<std::string> asked;
    TdlgLogin dialog(prompts, [&](const std::string& login, const std::string& password) {
      asked.push_back(login + "/" + password);
      if (c.answer == -2) throw std::runtime_error("connection refused");
      return c.answer;
    });
    std::vector<Cursor> cursors;
    dialog.OnCursorChange = [&](Cursor cursor) { cursors.push_back(cursor); };
    dialog.SetField("edLogin", c.login);
    dialog.SetField("edPwd", c.password);
    EXPECT_EQ(dialog.Press("Ok"), c.closes);
    EXPECT_EQ(prompts.Unanswered(), 0u);  // and nothing else was shown
    EXPECT_EQ(asked, c.asked ? std::vector<std::string>{"bob/pw"} : std::vector<std::string>{});
    const std::vector<Cursor> hourglass = {Cursor::crHourGlass, Cursor::crDefault};
    EXPECT_EQ(cursors, c.asked ? hourglass : std::vector<Cursor>{});
    EXPECT_EQ(dialog.ActiveControl, c.focus);
    EXPECT_EQ(dialog.PasswordSelected, c.selected);
    EXPECT_EQ(dialog.Cursor(), Cursor::crDefault);
    EXPECT_THROW(dialog.Press("Help"), std::invalid_argument);
    EXPECT_THROW(dialog.SetField("edUser", "x"), std::invalid_argument);
  }
}

}  // namespace
}  // namespace quillorn::data
