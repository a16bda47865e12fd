#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>

#include "foundation/temp_folder_for_test.h"
#include "platform/queue_main_loop.h"
#include "platform/window_messages.h"

extern char** environ;

namespace quillorn::platform {
namespace {

using foundation::testing::TempFolder;

constexpr char kPeerFolderVariable[] = "QUILLORN_TEST_PEER_FOLDER";

// A second host process (this program started again, running only the test
// below): it answers a "bring to front" with "doc is open" for
// the document id + 1, then dies without closing its window, as a crash would.
[[noreturn]] void RunChild(const std::string& folder) {
  int code = 1;
  try {
    QueueMainLoop loop;
    auto messages = CreateWindowMessages(folder);
    const std::uint32_t ask = messages->RegisterMessage("cmsBringhDocToFront");
    const std::uint32_t answer = messages->RegisterMessage("cmsDocIsOpen");
    auto asked = loop.CreateEvent();
    std::int64_t doc_id = 0;
    auto window = messages->CreateWindow("TmsgHandler", "child", loop, [&](const WindowMessage& message) {
      if (message.msg != ask) return;
      doc_id = message.lparam;
      asked->Set();
    });
    if (loop.Wait(*asked, 10000) == MainLoop::WaitResult::Signaled && messages->Broadcast(answer, 0, doc_id + 1))
      code = 0;
    _exit(code);  // with the window still open, on purpose
  } catch (...) {
  }
  _exit(code);
}

TEST(SocketWindowMessages, PeerProcess) {
  const char* folder = std::getenv(kPeerFolderVariable);
  if (folder == nullptr) GTEST_SKIP() << "only the peer process of TwoProcessesTalk runs this";
  RunChild(folder);
}

TEST(SocketWindowMessages, TwoProcessesTalkAndADeadOnesWindowIsCleared) {
  TempFolder temp;
  const std::string folder = (temp.Path() / "meet").string();
  auto messages = CreateWindowMessages(folder);  // creates the folder before the child looks
  const std::string program = std::filesystem::read_symlink("/proc/self/exe").string();
  const std::string filter = "--gtest_filter=SocketWindowMessages.PeerProcess";
  ASSERT_EQ(setenv(kPeerFolderVariable, folder.c_str(), 1), 0);
  const char* argv[] = {program.c_str(), filter.c_str(), nullptr};
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int spawned = posix_spawn(&child, program.c_str(), &quiet, nullptr, const_cast<char* const*>(argv), environ);
  posix_spawn_file_actions_destroy(&quiet);
  unsetenv(kPeerFolderVariable);
  ASSERT_EQ(spawned, 0);

  QueueMainLoop loop;
  const std::uint32_t ask = messages->RegisterMessage("cmsBringhDocToFront");
  const std::uint32_t answer = messages->RegisterMessage("cmsDocIsOpen");
  auto answered = loop.CreateEvent();
  std::int64_t doc_id = 0;
  auto window = messages->CreateWindow("TmsgHandler", "parent", loop, [&](const WindowMessage& message) {
    if (message.msg != answer) return;
    doc_id = message.lparam;
    answered->Set();
  });

  WindowHandle peer = 0;
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while ((peer = messages->FindWindow("TmsgHandler", "child")) == 0 && std::chrono::steady_clock::now() < give_up)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ASSERT_NE(peer, 0u);
  EXPECT_EQ(peer >> 20, static_cast<WindowHandle>(child));
  ASSERT_TRUE(messages->Post(peer, ask, 0, 41));
  EXPECT_EQ(loop.Wait(*answered, 10000), MainLoop::WaitResult::Signaled);
  EXPECT_EQ(doc_id, 42);

  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  // The dead process's files are still there until somebody looks.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 4);
  EXPECT_EQ(messages->FindWindow("TmsgHandler", "child"), 0u);
  EXPECT_EQ(messages->FindWindow("TmsgHandler", ""), window->Handle());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2);
}

TEST(SocketWindowMessages, RefusesAMeetingFolderOthersCouldEnter) {
  TempFolder temp;
  const auto open_folder = temp.Path() / "open";
  std::filesystem::create_directory(open_folder);
  chmod(open_folder.c_str(), 0777);
  EXPECT_THROW(CreateWindowMessages(open_folder.string()), std::runtime_error);

  const auto link = temp.Path() / "link";
  std::filesystem::create_directory(temp.Path() / "target");
  chmod((temp.Path() / "target").c_str(), 0700);
  std::filesystem::create_directory_symlink(temp.Path() / "target", link);
  EXPECT_THROW(CreateWindowMessages(link.string()), std::runtime_error);

  const auto fresh = temp.Path() / "fresh";
  EXPECT_NO_THROW(CreateWindowMessages(fresh.string()));
  EXPECT_EQ(std::filesystem::status(fresh).permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_all);
}

}  // namespace
}  // namespace quillorn::platform
