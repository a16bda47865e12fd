// The login check against what a user may type into the dialog: a quote that
// would rewrite the statement is only ever compared, online against the
// reference server and offline against the cached users.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "data/login.h"
#include "data/tdm.h"
#include "foundation/paths.h"
#include "foundation/temp_folder_for_test.h"
#include "server/store.h"
#include "sim/launcher.h"
#include "sim/simulation.h"

namespace quillorn {
namespace {

using foundation::testing::TempFolder;

// The demo organisation, a user whose login holds a quote, and a Word whose
// cache holds the users, as after the desktop program's announcement.
class Login : public ::testing::Test {
 protected:
  Login() : sim_(home_.Path().string()) {
    sim_.StartServer();
    sim_.Store()->Execute("INSERT INTO Users (USER_ID, LOGIN, WEB_PASSWORD) VALUES (40, 'O''HARA', 'it''s')");
    word_ = &sim_.StartHost(platform::HostType::ohaWord, "16.0");
    sim::SimLauncher(sim_).Announce(
        {.DocId = 1001,
         .FileName = foundation::ExtractFilePath(sim_.CacheFileName()) + "Policy.docx",
         .UserId = 1});
  }

  static int Authenticate(sim::SimInstance& host, const std::string& login, const std::string& password) {
    int id = 0;
    host.Loop().RunAs([&] { id = data::AuthenticateUser(host.DataModule(), login, password); });
    return id;
  }

  TempFolder home_;
  sim::Simulation sim_;
  sim::SimInstance* word_ = nullptr;
};

struct Attempt {
  const char* login;
  const char* password;
  int online;   // the server's answer
  int offline;  // the cache's answer: -1 for a login it does not know
};

TEST_F(Login, AQuoteTypedIsComparedNeverRun) {
  const std::vector<Attempt> attempts = {
      {.login = "jsmith' --", .password = "anything", .online = 0, .offline = -1},
      {.login = "zz' union select 1,'P' --", .password = "P", .online = 0, .offline = -1},
      {.login = "jsmith", .password = "x' or '1'='1", .online = 0, .offline = 0},
      {.login = "o'hara", .password = "it's", .online = 40, .offline = 40},
      {.login = "jsmith", .password = "demo", .online = 1, .offline = 1},
  };
  for (const Attempt& a : attempts) {
    SCOPED_TRACE(a.login);
    EXPECT_EQ(Authenticate(*word_, a.login, a.password), a.online);
  }
  EXPECT_TRUE(word_->DataModule().mIsServerReachable());

  // A Word started with no server knows it is offline from its first ping.
  sim_.StopServer();
  sim::SimInstance& offline = sim_.StartHost(platform::HostType::ohaWord, "16.0");
  ASSERT_FALSE(offline.DataModule().mIsServerReachable());
  for (const Attempt& a : attempts) {
    SCOPED_TRACE(a.login);
    EXPECT_EQ(Authenticate(offline, a.login, a.password), a.offline);
  }
}

}  // namespace
}  // namespace quillorn
