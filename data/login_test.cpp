#include "data/login.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>
#include <vector>

#include "data/catalogue_test_support.h"
#include "data/login_dialog.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

using platform::DialogAnswer;
using platform::MessageAnswer;
using platform::MessageKind;
using platform::ModalResult;
using platform::ScriptedPrompts;
using testing::CatalogueServer;
using testing::DmInstance;

// The server knows ALICE's new password; the cache still has her old one, and
// CAROL, whom the server has since removed.
void FillServerUsers(CatalogueServer& server) {
  server.Exec("CREATE TABLE USERS (USER_ID INTEGER, LOGIN VARCHAR(31), WEB_PASSWORD VARCHAR(16))");
  server.Exec("INSERT INTO USERS VALUES (7, 'ALICE', 'Secret1')");
  server.Exec("INSERT INTO USERS VALUES (8, 'BOB', 'pw')");
}

void FillCachedUsers(Tdm& dm) {
  dm.LoadFromCache(dm.tblUsers);
  for (const char* sql :
       {"insert into USERS (USER_ID, LOGIN, WEB_PASSWORD, GIVEN_NAMES, SURNAME) values (7, 'ALICE', 'OldSecret', "
        "'Alice', 'Smith')",
        "insert into USERS (USER_ID, LOGIN, WEB_PASSWORD, GIVEN_NAMES, SURNAME) values (9, 'CAROL', 'c4', 'Carol', "
        "'Jones')",
        "insert into USERS (USER_ID, LOGIN, WEB_PASSWORD, GIVEN_NAMES, SURNAME) values (11, '', 'x', 'No', "
        "'Login')"}) {
    ASSERT_TRUE(dm.cacheExecSQL(sql));
  }
  dm.tblUsers.Refresh();
}

void PointAt(DmInstance& instance, int port) {
  foundation::testing::WriteAll(instance.traced.folder.Path() / kAddInIniName,
                                "[Connection Settings]\r\nPort=" + std::to_string(port) +
                                    "\r\nLocal_Address=127.0.0.1\r\n");
}

struct LoginCase {
  const char* login;
  const char* password;
  int expected;
};

TEST(AuthenticateUser, OnlineAsksTheServerWithTheLoginInUpperCase) {
  CatalogueServer server;
  FillServerUsers(server);
  DmInstance instance(server.Port());
  FillCachedUsers(*instance.dm);
  const std::vector<LoginCase> cases = {
      {"alice", "Secret1", 7},     // lower case typed, upper case stored
      {"Bob", "pw", 8},
      {"ALICE", "secret1", 0},     // the password's case counts
      {"ALICE", "OldSecret", 0},   // the server's password, not the cache's
      {"CAROL", "c4", 0},          // known only to the cache
      {"o'hara", "x", 0},          // the quote breaks the statement: nobody
  };
  for (const LoginCase& c : cases) {
    SCOPED_TRACE(c.login);
    EXPECT_EQ(AuthenticateUser(*instance.dm, c.login, c.password), c.expected);
    EXPECT_TRUE(instance.dm->mIsServerReachable());
  }
  const auto seen = server.Statements();
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.front(), "select user_id from users where login='ALICE' and web_password='Secret1'");
  EXPECT_EQ(instance.traced.context.ProcName, "");
}

TEST(AuthenticateUser, OfflineChecksTheCachedUsers) {
  DmInstance instance(testing::DeadPort());
  FillCachedUsers(*instance.dm);
  const std::vector<LoginCase> cases = {
      {"alice", "OldSecret", 7},
      {"alice", "Secret1", 0},   // changed on the server meanwhile: not known here
      {"carol", "C4", 0},
      {"carol", "c4", 9},
      {"dave", "x", -1},         // the cache can't tell
      {"o'hara", "x", -1},
  };
  for (const LoginCase& c : cases) {
    SCOPED_TRACE(c.login);
    EXPECT_EQ(AuthenticateUser(*instance.dm, c.login, c.password), c.expected);
    EXPECT_FALSE(instance.dm->mIsServerReachable());
  }
  EXPECT_TRUE(instance.traced.Traced("cacheLookup", "select user_id, web_password from users where login='DAVE'"));
}

TEST(AuthenticateUser, ReadsTheSettingsAgainAtEachRetry) {
  CatalogueServer server;
  FillServerUsers(server);
  DmInstance instance(testing::DeadPort());
  FillCachedUsers(*instance.dm);
  EXPECT_EQ(AuthenticateUser(*instance.dm, "alice", "Secret1"), 0);
  EXPECT_FALSE(instance.dm->mIsServerReachable());
  PointAt(instance, server.Port());  // the user fixes the ini file and tries again
  EXPECT_EQ(AuthenticateUser(*instance.dm, "alice", "Secret1"), 7);
  EXPECT_TRUE(instance.dm->mIsServerReachable());
}

TEST(PromptUserForLogin, StoresWhatTheDialogEndedWith) {
  CatalogueServer server;
  FillServerUsers(server);
  struct Case {
    const char* name;
    bool online;
    std::vector<std::variant<MessageAnswer, DialogAnswer>> script;
    int expected;
    std::vector<std::string> messages;
  };
  const auto ok = [](const char* login, const char* password) {
    return DialogAnswer{"TdlgLogin", {{"edLogin", login}, {"edPwd", password}}, "Ok"};
  };
  const auto cancel = DialogAnswer{"TdlgLogin", {}, "Cancel"};
  const std::vector<Case> cases = {
      {"online, good login", true, {ok("bob", "pw")}, 8, {}},
      {"online, cancelled", true, {cancel}, 0, {}},
      {"offline, unknown login closes with -1",
       false,
       {ok("dave", "x"), MessageAnswer{ModalResult::mrOk, kLoginNotVerified, MessageKind::Error}},
       -1,
       {kLoginNotVerified}},
      {"offline, wrong password stays until cancelled",
       false,
       {ok("alice", "nope"), MessageAnswer{ModalResult::mrOk, kLoginIncorrect, MessageKind::Error}, cancel},
       0,
       {kLoginIncorrect}},
      {"offline, second try good",
       false,
       {ok("alice", "nope"), MessageAnswer{ModalResult::mrOk, kLoginIncorrect, MessageKind::Error},
        ok("alice", "OldSecret")},
       7,
       {kLoginIncorrect}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    DmInstance instance(c.online ? server.Port() : testing::DeadPort());
    FillCachedUsers(*instance.dm);
    instance.dm->UserID = 42;  // an earlier login never survives this one
    ScriptedPrompts prompts;
    for (const auto& step : c.script) {
      if (const auto* m = std::get_if<MessageAnswer>(&step)) prompts.Answer(*m);
      else prompts.AnswerDialog(std::get<DialogAnswer>(step));
    }
    EXPECT_EQ(PromptUserForLogin(*instance.dm, prompts, 2016), c.expected);
    EXPECT_EQ(instance.dm->UserID, c.expected);
    EXPECT_EQ(prompts.Unanswered(), 0u);
    std::vector<std::string> messages;
    for (const auto& shown : prompts.Shown()) {
      if (shown.type == platform::PromptRecord::Type::Message) messages.push_back(shown.text);
    }
    EXPECT_EQ(messages, c.messages);
    EXPECT_EQ(instance.traced.context.ProcName, "");
  }
}

TEST(UserNames, ReadTheLocatedRowOfTheUsers) {
  DmInstance instance(testing::DeadPort());
  Tdm& dm = *instance.dm;
  // The system's own name needs no table at all.
  EXPECT_FALSE(dm.tblUsers.Active());
  EXPECT_EQ(GetLoginName(dm, 0), "QUILLORN");
  FillCachedUsers(dm);
  struct Case {
    int id;
    const char* login;
    const char* full;
    const char* given;
    const char* surname;
  };
  const std::vector<Case> cases = {
      {9, "CAROL", "Carol Jones", "Carol", "Jones"},
      {7, "ALICE", "Alice Smith", "Alice", "Smith"},
      {99, "ALICE", "Alice Smith", "Alice", "Smith"},  // a miss: the row the table was on answers
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.id);
    EXPECT_EQ(GetLoginName(dm, c.id), c.login);
    EXPECT_EQ(GetFullName(dm, c.id), c.full);
    EXPECT_EQ(GetGivenName(dm, c.id), c.given);
    EXPECT_EQ(GetSurname(dm, c.id), c.surname);
  }
  EXPECT_EQ(GetLoginName(dm, 0), "QUILLORN");
  // An empty login looks for old_login, which the cached users don't have.
  EXPECT_THROW(GetLoginName(dm, 11), DataSetError);
  EXPECT_EQ(GetUserLogin(dm), "");
}

}  // namespace
}  // namespace quillorn::data
