// The system as the client sees it on Windows: folders, environment, user, file
// operations, registered messages between real windows, message boxes answered
// by a hook as a user would answer them, and what foundation reads from Windows.
#include <windows.h>

#undef CreateWindow
#undef FindWindow
#undef CopyFile
#undef DeleteFile
#undef GetEnvironmentVariable

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "foundation/datetime.h"
#include "foundation/version.h"
#include "platform/system_services.h"
#include "platform/win32/platform_readers.h"
#include "platform/win32/wide_text.h"
#include "platform/win32/windows_main_loop.h"
#include "platform/win32/windows_prompts.h"
#include "platform/window_messages.h"
#include "win/tests/check.h"

using namespace quillorn::platform;

namespace {

std::string Env(const wchar_t* name) {
  wchar_t buffer[1024] = {};
  const DWORD n = ::GetEnvironmentVariableW(name, buffer, 1024);
  return n > 0 && n < 1024 ? Utf8FromUtf16(buffer) : std::string();
}

CHECK_CASE(SystemServicesAnswerFromWindows) {
  auto services = CreateSystemServices();
  CHECK(services->ModulePath().ends_with("\\platform_win32_check.exe"));
  CHECK_EQ(services->ExecutableName(), std::string("platform_win32_check.exe"));
  CHECK_EQ(services->LocalAppDataFolder(), Env(L"LOCALAPPDATA"));
  const std::string temp = services->TempFolder();
  CHECK(!temp.empty() && temp.back() == '\\');
  CHECK_EQ(services->UserName(), Env(L"USERNAME"));

  // Names without regard to case, values in full Unicode.
  ::SetEnvironmentVariableW(L"clientname", L"QuillMist \u00C5");
  CHECK_EQ(services->GetEnvironmentVariable("CLIENTNAME"), std::string("QuillMist \xC3\x85"));
  const std::string long_value(5000, 'x');  // beyond the first buffer
  ::SetEnvironmentVariableW(L"QUILLORN_LONG", Utf16FromUtf8(long_value).c_str());
  CHECK_EQ(services->GetEnvironmentVariable("quillorn_long"), long_value);
}

CHECK_CASE(FileOperationsFollowCopyFileW) {
  auto services = CreateSystemServices();
  const std::string folder = services->TempFolder() + "quillorn check \xC3\xA9t\xC3\xA9\\";
  const std::filesystem::path wide_folder(Utf16FromUtf8(folder));
  std::filesystem::remove_all(wide_folder);
  std::filesystem::create_directories(wide_folder);
  const std::string source = folder + "source.docx", target = folder + "target.docx";
  std::ofstream(std::filesystem::path(Utf16FromUtf8(source)), std::ios::binary) << "content";
  // In this order: a new target, then the same one kept and overwritten.
  CHECK(services->CopyFile(source, target, true));
  CHECK(!services->CopyFile(source, target, true));
  CHECK(services->CopyFile(source, target, false));
  CHECK(!services->FileExists(folder));  // a folder is no file
  CHECK(services->DeleteFile(target));
  CHECK(!services->FileExists(target));
  // The shell's copy, as the cache's file copy makes it: path lists with their
  // double null, a name with a blank and accents.
  CHECK(services->ShellCopyFile(source, folder + "shell copy \xC3\xA9.docx"));
  CHECK(services->FileExists(folder + "shell copy \xC3\xA9.docx"));
  std::filesystem::remove_all(wide_folder);
}

CHECK_CASE(RegisteredMessagesReachRealWindows) {
  WindowsMainLoop loop;
  auto messages = CreateWindowMessages();
  const std::uint32_t refresh = messages->RegisterMessage("cmsRefreshDocs");
  CHECK(refresh >= kFirstRegisteredMessage && refresh <= 0xFFFF);
  CHECK_EQ(messages->RegisterMessage("CMSREFRESHDOCS"), refresh);  // one number per name, any case

  std::vector<WindowMessage> received;
  auto got = loop.CreateEvent();
  auto window = messages->CreateWindow("TQuillornMsgWindow", "Quillorn messages", loop, [&](const WindowMessage& m) {
    received.push_back(m);
    if (received.size() == 2) got->Set();
  });
  CHECK_EQ(messages->FindWindow("tquillornmsgwindow", "Quillorn messages"), window->Handle());
  CHECK_EQ(messages->FindWindow("TQuillornMsgWindow", ""), window->Handle());  // any title
  CHECK_EQ(messages->FindWindow("TQuillornMsgWindow", "another title"), WindowHandle{0});

  CHECK(messages->Post(window->Handle(), refresh, 7, -9));
  CHECK(messages->Broadcast(refresh, 1234, 5678));
  CHECK(received.empty());  // posted, not sent: nothing runs on the sender's stack
  CHECK(loop.Wait(*got, 5000) == MainLoop::WaitResult::Signaled);
  CHECK(received.size() == 2 && received[0].msg == refresh && received[0].wparam == 7 && received[0].lparam == -9 &&
        received[1].msg == refresh && received[1].wparam == 1234 && received[1].lparam == 5678);

  const WindowHandle gone = window->Handle();
  window.reset();
  CHECK_EQ(messages->FindWindow("TQuillornMsgWindow", "Quillorn messages"), WindowHandle{0});
  CHECK(!messages->Post(gone, refresh, 0, 0));
}

// Answers the next message box of this thread by its own button, as a user
// would, once its dialog has set itself up (inside its own modal loop), after
// reading its caption and text.
struct BoxAnswer {
  int button = IDOK;
  std::wstring caption, text;
} gAnswer;
HHOOK gHook = nullptr;

void CALLBACK ReadAndPress(HWND, UINT, UINT_PTR timer, DWORD) {
  ::KillTimer(nullptr, timer);
  HWND box = ::GetActiveWindow();
  wchar_t text[512] = {};
  ::GetWindowTextW(box, text, 512);
  gAnswer.caption = text;
  ::GetDlgItemTextW(box, 0xFFFF, text, 512);  // the message's static control
  gAnswer.text = text;
  ::PostMessageW(box, WM_COMMAND, MAKEWPARAM(gAnswer.button, BN_CLICKED), 0);
}

LRESULT CALLBACK AnswerHook(int code, WPARAM wparam, LPARAM lparam) {
  if (code == HCBT_ACTIVATE) ::SetTimer(nullptr, 0, 1, &ReadAndPress);
  return ::CallNextHookEx(gHook, code, wparam, lparam);
}

CHECK_CASE(MessageBoxesShowAndAnswer) {
  const struct {
    MessageKind kind;
    Buttons buttons;
    int press;
    ModalResult expected;
    const wchar_t* caption;
  } rows[] = {
      {.kind = MessageKind::Warning, .buttons = Buttons::OK, .press = IDOK, .expected = ModalResult::mrOk,
       .caption = L"Warning"},
      {.kind = MessageKind::Confirmation, .buttons = Buttons::YesNoCancel, .press = IDNO,
       .expected = ModalResult::mrNo, .caption = L"Confirm"},
  };
  WindowsPrompts prompts;
  gHook = ::SetWindowsHookExW(WH_CBT, &AnswerHook, nullptr, ::GetCurrentThreadId());
  for (const auto& row : rows) {
    gAnswer = {.button = row.press};
    const ModalResult result = prompts.MessageDlg("\"Save As\" is disabled! \xE2\x82\xAC", row.kind, row.buttons);
    CHECK(result == row.expected);
    CHECK(gAnswer.caption == row.caption);
    CHECK_EQ_NOTE(gAnswer.text == L"\"Save As\" is disabled! \u20AC", true, Utf8FromUtf16(gAnswer.text));
  }
  ::UnhookWindowsHookEx(gHook);
}

CHECK_CASE(VersionComesFromTheVersionResource) {
  InstallPlatformReaders();
  // This program carries the build's version resource; foundation reads it. A
  // file without one leaves 0.0.0.0.
  CHECK_EQ(quillorn::foundation::GetVersionString(""), std::string(QUILLORN_VERSION_TEXT));
  CHECK_EQ(quillorn::foundation::GetVersionString(CreateSystemServices()->TempFolder() + "no such file.dll"),
           std::string("0.0.0.0"));
}

CHECK_CASE(LocaleFormatsBecomeOurLetters) {
  const struct {
    const wchar_t* picture;
    const char* expected;
    std::string (*convert)(std::wstring_view);
  } rows[] = {
      {L"d. MMMM yyyy", "d. mmmm yyyy", &FormatFromDatePicture},
      {L"dddd, d MMM y", "dddd, d mmm yy", &FormatFromDatePicture},
      {L"gg yyyy'\u5E74'M'\u6708'd'\u65E5'", " yyyy\xE5\xB9\xB4m\xE6\x9C\x88" "d\xE6\x97\xA5", &FormatFromDatePicture},
      {L"yyyy-MM-dd 'week'", "yyyy-mm-dd\" week\"", &FormatFromDatePicture},
      {L"h:mm:ss tt", "h:nn:ss ampm", &FormatFromTimePicture},
      {L"H 'h' mm", "h\" h \"nn", &FormatFromTimePicture},
      {L"'o''clock' h", "\"o'clock \"h", &FormatFromTimePicture},
  };
  for (const auto& row : rows) {
    CHECK_EQ_NOTE(row.convert(row.picture), std::string(row.expected), Utf8FromUtf16(row.picture));
  }

  quillorn::foundation::FormatSettings settings;
  CHECK(ReadLocaleFormatSettings(settings));
  CHECK(!settings.LongMonthNames[11].empty() && !settings.LongDayNames[0].empty());
  CHECK(settings.ShortDateFormat.find("yy") != std::string::npos);
  CHECK(settings.LongTimeFormat.find("nn") != std::string::npos);
}

}  // namespace
