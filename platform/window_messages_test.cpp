#include "platform/window_messages.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "foundation/temp_folder_for_test.h"
#include "platform/queue_main_loop.h"

namespace quillorn::platform {
namespace {

using foundation::testing::TempFolder;

struct Received {
  std::string window;
  WindowMessage message;
};

// Both forms must behave alike: the in-process desktop of the tests and the
// cross-process one of the simulator.
class WindowMessagesTest : public ::testing::TestWithParam<bool> {
 protected:
  WindowMessagesTest() {
    messages_ = GetParam() ? CreateWindowMessages((folder_.Path() / "meet").string()) : CreateInProcessWindowMessages();
  }

  std::unique_ptr<MessageWindow> Listen(const std::string& class_name, const std::string& title) {
    return messages_->CreateWindow(class_name, title, loop_, [this, title](const WindowMessage& message) {
      received_.push_back({title, message});
      if (received_.size() >= expected_) arrived_->Set();
    });
  }

  // Pumps until `count` messages in all have arrived, or a bounded time passed.
  void AwaitReceived(std::size_t count) {
    expected_ = count;
    if (received_.size() < count) loop_.Wait(*arrived_, 5000);
    arrived_->Reset();
    loop_.RunFor(GetParam() ? 20 : 0);  // lets a stray extra delivery show up
  }

  TempFolder folder_;
  QueueMainLoop loop_;
  std::unique_ptr<WaitEvent> arrived_ = loop_.CreateEvent();
  std::unique_ptr<WindowMessages> messages_;
  std::vector<Received> received_;
  std::size_t expected_ = 1;
};

TEST_P(WindowMessagesTest, NamesGiveTheSameNumberEverywhereWithoutRegardToCase) {
  // The other form and the name in capitals each give the number the first gave.
  const std::pair<const char*, const char*> names[] = {
      {"cmsRefreshDocs", "CMSREFRESHDOCS"}, {"cmsRefreshDocFields", "CMSREFRESHDOCFIELDS"},
      {"cmsBringhDocToFront", "CMSBRINGHDOCTOFRONT"}, {"cmsDocIsOpen", "CMSDOCISOPEN"}};
  auto other = CreateInProcessWindowMessages();
  std::set<std::uint32_t> numbers;
  for (const auto& [name, upper] : names) {
    const std::uint32_t number = messages_->RegisterMessage(name);
    EXPECT_TRUE(number >= kFirstRegisteredMessage && number <= 0xFFFFu) << name << " " << number;
    EXPECT_EQ(other->RegisterMessage(upper), number) << name;
    numbers.insert(number);
  }
  EXPECT_EQ(numbers.size(), std::size(names));
  EXPECT_NE(messages_->RegisterMessage("cmsBringDocToFront"), messages_->RegisterMessage("cmsBringhDocToFront"));
}

TEST_P(WindowMessagesTest, PostReachesOnlyTheWindowFoundAndCarriesItsParameters) {
  auto word = Listen("TmsgHandler", "word");
  auto desk = Listen("TApplication", "Quillorn Desk");
  const std::uint32_t msg = messages_->RegisterMessage("cmsRefreshDocs");

  const WindowHandle found = messages_->FindWindow("TApplication", "Quillorn Desk");
  ASSERT_EQ(found, desk->Handle());
  ASSERT_TRUE(messages_->Post(found, msg, 0xFFFFFFFFFFull, -7));
  EXPECT_TRUE(received_.empty());  // never on the sender's stack
  AwaitReceived(1);
  ASSERT_EQ(received_.size(), 1u);
  EXPECT_EQ(received_[0].window, "Quillorn Desk");
  EXPECT_EQ(received_[0].message.msg, msg);
  EXPECT_EQ(received_[0].message.wparam, 0xFFFFFFFFFFull);
  EXPECT_EQ(received_[0].message.lparam, -7);
}

TEST_P(WindowMessagesTest, BroadcastReachesEveryWindowOnceTheSendersOwnIncluded) {
  auto word = Listen("TmsgHandler", "word");
  auto excel = Listen("TmsgHandler", "excel");
  auto desk = Listen("TApplication", "Quillorn");
  const std::uint32_t msg = messages_->RegisterMessage("cmsDocIsOpen");
  EXPECT_TRUE(messages_->Broadcast(msg, 0, 1234));
  AwaitReceived(3);
  std::multiset<std::string> reached;
  for (const auto& r : received_) {
    reached.insert(r.window);
    EXPECT_EQ(r.message.lparam, 1234);
  }
  EXPECT_EQ(reached, (std::multiset<std::string>{"Quillorn", "excel", "word"}));
}

TEST_P(WindowMessagesTest, FindWindowMatchesClassWithoutCaseAndTitleExactly) {
  auto desk = Listen("TApplication", "Quillorn 3");
  struct Case {
    const char* class_name;
    const char* title;
    bool found;
  };
  const Case cases[] = {
      {"TApplication", "Quillorn 3", true}, {"tapplication", "Quillorn 3", true}, {"", "Quillorn 3", true},
      {"TApplication", "", true},           {"TApplication", "quillorn 3", false}, {"TApplication", "Quillorn", false},
      {"TForm", "Quillorn 3", false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(messages_->FindWindow(c.class_name, c.title), c.found ? desk->Handle() : 0)
        << c.class_name << "/" << c.title;
}

TEST_P(WindowMessagesTest, AWindowGoneStopsReceivingEvenWhatWasAlreadyPosted) {
  auto word = Listen("TmsgHandler", "word");
  auto excel = Listen("TmsgHandler", "excel");
  const WindowHandle excel_handle = excel->Handle();
  const std::uint32_t msg = messages_->RegisterMessage("cmsRefreshTemplates");
  ASSERT_TRUE(messages_->Post(excel_handle, msg, 0, 1));
  // Once the delivery sits in the loop's queue, the window goes.
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (loop_.PendingTaskCount() == 0 && std::chrono::steady_clock::now() < give_up) std::this_thread::yield();
  ASSERT_EQ(loop_.PendingTaskCount(), 1u);
  excel.reset();
  loop_.RunUntilIdle();
  EXPECT_TRUE(received_.empty());
  EXPECT_EQ(messages_->FindWindow("TmsgHandler", "excel"), 0u);
  EXPECT_FALSE(messages_->Post(excel_handle, msg, 0, 2));
  messages_->Broadcast(msg, 0, 3);
  AwaitReceived(1);
  ASSERT_EQ(received_.size(), 1u);
  EXPECT_EQ(received_[0].window, "word");
}

INSTANTIATE_TEST_SUITE_P(Forms, WindowMessagesTest, ::testing::Values(false, true),
                         [](const auto& param_info) { return param_info.param ? "AcrossProcesses" : "InProcess"; });

}  // namespace
}  // namespace quillorn::platform
