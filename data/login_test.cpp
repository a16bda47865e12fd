#include "data/login.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "data/data_test_support.h"
#include "data/login_dialog.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

using platform::DialogAnswer;
using platform::MessageAnswer;
using platform::MessageKind;
using platform::ModalResult;
using testing::DeadPort;
using testing::Instance;
using testing::RefServer;

// The server knows ALICE's new password; the cache still has her old one, and
// CAROL, whom the server has since removed.
struct Users {
  Users() {
    server.Exec("alter table Users add column WEB_PASSWORD VARCHAR(16)");
    server.Exec("insert into Users (USER_ID, LOGIN, WEB_PASSWORD) values (7, 'ALICE', 'Secret1'), (8, 'BOB', 'pw')");
  }
  static void Cache(Instance& instance) {
    instance.dm->LoadFromCache(instance.dm->tblUsers);
    instance.Cache("insert into USERS (USER_ID, LOGIN, WEB_PASSWORD, GIVEN_NAMES, SURNAME) values "
                   "(7, 'ALICE', 'OldSecret', 'Alice', 'Smith'), (9, 'CAROL', 'c4', 'Carol', 'Jones'), "
                   "(11, '', 'x', 'No', 'Login')");
    instance.dm->tblUsers.Refresh();
  }
  RefServer server;
};

TEST(AuthenticateUser, OnlineTheServerDecidesOfflineTheCachedUsersOrNobody) {
  Users users;
  struct Case {
    bool online;
    const char *login, *password;
    int expected;
  };
  for (const Case& c : {Case{true, "alice", "Secret1", 7},    // lower case typed, upper case stored
                        Case{true, "ALICE", "secret1", 0},    // the password's case counts
                        Case{true, "ALICE", "OldSecret", 0},  // the server's password, not the cache's
                        Case{true, "CAROL", "c4", 0},         // known only to the cache
                        Case{true, "o'hara", "x", 0},         // the quote breaks the statement: nobody
                        Case{false, "alice", "OldSecret", 7},
                        Case{false, "alice", "Secret1", 0},  // changed on the server meanwhile: not known here
                        Case{false, "carol", "C4", 0},       // the password's case counts here too
                        Case{false, "dave", "x", -1},        // the cache can't tell
                        Case{false, "o'hara", "x", -1}}) {
    SCOPED_TRACE(std::string(c.login) + "/" + c.password);
    Instance instance(c.online ? users.server.Port() : DeadPort());
    Users::Cache(instance);
    EXPECT_EQ(AuthenticateUser(*instance.dm, c.login, c.password), c.expected);
    EXPECT_EQ(instance.dm->mIsServerReachable(), c.online);
  }
}

TEST(PromptUserForLogin, StoresWhatTheDialogEndedWith) {
  Users users;
  const auto ok = [](const char* login, const char* password) {
    return DialogAnswer{"TdlgLogin", {{"edLogin", login}, {"edPwd", password}}, "Ok"};
  };
  const auto cancel = DialogAnswer{"TdlgLogin", {}, "Cancel"};
  const auto refused = MessageAnswer{ModalResult::mrOk, kLoginIncorrect, MessageKind::Error};
  struct Case {
    const char* name;
    bool online;
    std::vector<std::variant<MessageAnswer, DialogAnswer>> script;
    int expected;
  };
  const std::vector<Case> cases = {
      {"online, good login", true, {ok("bob", "pw")}, 8},
      {"offline, unknown login closes with -1", false,
       {ok("dave", "x"), MessageAnswer{ModalResult::mrOk, kLoginNotVerified, MessageKind::Error}}, -1},
      {"offline, wrong password stays until cancelled", false, {ok("alice", "nope"), refused, cancel}, 0},
      {"offline, second try good", false, {ok("alice", "nope"), refused, ok("alice", "OldSecret")}, 7},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Instance instance(c.online ? users.server.Port() : DeadPort());
    Users::Cache(instance);
    instance.dm->UserID = 42;  // an earlier login never survives this one
    platform::ScriptedPrompts prompts;
    for (const auto& step : c.script) {
      if (const auto* m = std::get_if<MessageAnswer>(&step)) {
        prompts.Answer(*m);
      } else {
        prompts.AnswerDialog(std::get<DialogAnswer>(step));
      }
    }
    EXPECT_EQ(PromptUserForLogin(*instance.dm, prompts, 2016), c.expected);
    EXPECT_EQ(instance.dm->UserID, c.expected);
    EXPECT_EQ(prompts.Unanswered(), 0u);
  }
}

TEST(UserNames, ReadTheLocatedRowOfTheUsers) {
  Instance instance(DeadPort());
  Tdm& dm = *instance.dm;
  // The system's own name needs no table at all.
  EXPECT_EQ(GetLoginName(dm, 0), kSystemLoginName);
  Users::Cache(instance);
  for (const auto& [id, names] : {std::pair{9, "CAROL/Carol Jones/Carol/Jones"},
                                  std::pair{7, "ALICE/Alice Smith/Alice/Smith"},
                                  std::pair{99, "ALICE/Alice Smith/Alice/Smith"}}) {  // a miss: the row it was on
    EXPECT_EQ(GetLoginName(dm, id) + "/" + GetFullName(dm, id) + "/" + GetGivenName(dm, id) + "/" + GetSurname(dm, id),
              names);
  }
  // An empty login looks for old_login, which the cached users don't have.
  EXPECT_THROW(GetLoginName(dm, 11), DataSetError);
  EXPECT_EQ(GetUserLogin(dm), "");
}

}  // namespace
}  // namespace quillorn::data
