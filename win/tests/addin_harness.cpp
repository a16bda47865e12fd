// The add-in as an Office host meets it, under Wine: regsvr32 registers the DLL,
// the add-in is created by its ProgID and loaded into a simulated Word and a
// simulated Excel served over IDispatch with a real connection point, the
// module's trace and cache are looked at under the prefix's local application
// data, and regsvr32 /u must leave no key of ours behind.
#include <windows.h>
#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "hostsim/excel.h"
#include "hostsim/word.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/wide_text.h"
#include "win/addin_ids.h"
#include "win/excel_events.h"
#include "win/extensibility.h"
#include "win/tests/check.h"
#include "win/tests/sim_com_application.h"
#include "win/word_events.h"

using namespace quillorn;
using platform::ComPtr;
using platform::Variant;

namespace {

namespace fs = std::filesystem;

fs::path HarnessFolder() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  return fs::path(path).parent_path();
}

fs::path AppDataDir() {
  wchar_t local[MAX_PATH] = {};
  ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, local);
  return fs::path(local) / L"Quillorn";
}

void WriteAddInIni(const std::string& text) {
  fs::create_directories(AppDataDir());
  std::ofstream(AppDataDir() / L"QuillornAddIn.ini", std::ios::binary) << text;
}

// regsvr32's exit code; -1 when it could not run or did not end in a minute.
int Regsvr32(const std::wstring& switches) {
  std::wstring command = L"regsvr32.exe " + switches + L" \"" + (HarnessFolder() / L"QuillornAddIn.dll").wstring() + L"\"";
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) return -1;
  DWORD code = static_cast<DWORD>(-1);
  if (::WaitForSingleObject(pi.hProcess, 60000) == WAIT_OBJECT_0) ::GetExitCodeProcess(pi.hProcess, &code);
  ::CloseHandle(pi.hThread);
  ::CloseHandle(pi.hProcess);
  return static_cast<int>(code);
}

bool KeyExists(const std::wstring& key) {
  HKEY h = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &h) != ERROR_SUCCESS) return false;
  ::RegCloseKey(h);
  return true;
}

std::wstring AddInKey(const wchar_t* host) {
  return std::wstring(L"Software\\Microsoft\\Office\\") + host + L"\\Addins\\QuillornAddIn.QuillornInterface";
}

// Office loads an add-in whose LoadBehavior says so; 0 when there is none.
DWORD LoadBehavior(const wchar_t* host) {
  DWORD value = 0, size = sizeof value;
  ::RegGetValueW(HKEY_LOCAL_MACHINE, AddInKey(host).c_str(), L"LoadBehavior", RRF_RT_REG_DWORD | RRF_SUBKEY_WOW6464KEY, nullptr,
                 &value, &size);
  return value;
}

CHECK_CASE(RegistrationMakesTheAddInCreatableAndKnownToOffice) {
  WriteAddInIni("");  // no Publisher setting: Word, Excel and PowerPoint only
  CHECK_EQ(Regsvr32(L"/s"), 0);
  CLSID clsid{};
  CHECK_EQ(::CLSIDFromProgID(win::kProgId, &clsid), S_OK);
  CHECK(clsid == win::kCLSID_QuillornInterface);
  for (const wchar_t* host : {L"Word", L"Excel", L"PowerPoint"}) {
    CHECK_EQ_NOTE(LoadBehavior(host), 3u, platform::Utf8FromUtf16(host));
  }
  CHECK_EQ(LoadBehavior(L"Publisher"), 0u);

  // The type library as a host's tools read it, with our co-class.
  ComPtr<ITypeLib> library;
  CHECK_EQ(::LoadRegTypeLib(win::kLibId, 1, 0, LOCALE_NEUTRAL, library.Put()), S_OK);
  ComPtr<ITypeInfo> info;
  CHECK(library && SUCCEEDED(library->GetTypeInfoOfGuid(win::kCLSID_QuillornInterface, info.Put())));

  WriteAddInIni("[Supported Office Apps]\r\nPublisher=Yes\r\n");
  CHECK_EQ(Regsvr32(L"/s"), 0);
  CHECK_EQ(LoadBehavior(L"Publisher"), 3u);
}

struct TraceLine {
  std::string where, what;
};

// The module's trace (time, where and what, tab-separated) must hold each
// expected line (`what` is the line's start) after the one before it; others
// may come between.
void CheckTrace(const std::vector<TraceLine>& expected) {
  std::ifstream in(AppDataDir() / L"AddIn Trace.txt", std::ios::binary);
  std::vector<TraceLine> trace;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const auto first = line.find('\t');
    const auto second = line.find('\t', first + 1);
    if (second == std::string::npos) continue;
    trace.push_back({line.substr(first + 1, second - first - 1), line.substr(second + 1)});
    std::printf("  | %s | %s\n", trace.back().where.c_str(), trace.back().what.c_str());
  }
  std::size_t at = 0;
  for (const TraceLine& e : expected) {
    while (at < trace.size() && !(trace[at].where == e.where && trace[at].what.rfind(e.what, 0) == 0)) ++at;
    CHECK_EQ_NOTE(at < trace.size(), true, "in order: " + e.where + " " + e.what);
    if (at < trace.size()) ++at;
  }
}

// Tracing on, and a server address on this machine that answers nobody.
constexpr char kTracingIni[] =
    "[Debug]\r\nTrace=true\r\n[Connection Settings]\r\nLocal_Address=127.0.0.1\r\nPort=9\r\nLocal_TimeOut=1\r\n";

// Loads a new add-in, made by its class as Office makes it, into `host` served
// over COM with `events`, and runs `in_host` while it is connected. Loaded at
// start-up, it hears what Office sends then (start-up complete, begin shutdown);
// loaded later, it is unloaded by the user.
template <class InHost>
void RunSession(const std::shared_ptr<hostsim::SimHost>& host, const IID& events, win::ConnectMode mode,
                InHost in_host) {
  const bool at_startup = mode == win::ext_cm_Startup;
  fs::remove(AppDataDir() / L"AddIn Trace.txt");
  fs::remove(AppDataDir() / L"Cache" / L"cache.dat");  // the prefix outlives a run
  WriteAddInIni(kTracingIni);
  ComPtr<win::IDTExtensibility2> addin;
  CHECK_EQ(::CoCreateInstance(win::kCLSID_QuillornInterface, nullptr, CLSCTX_INPROC_SERVER, win::kIID_IDTExtensibility2,
                              reinterpret_cast<void**>(addin.Put())),
           S_OK);
  if (!addin) return;
  ComPtr<IDispatch> own;  // the co-class's own dispatch interface answers too
  CHECK_EQ(addin->QueryInterface(win::kIID_IQuillornInterface, reinterpret_cast<void**>(own.Put())), S_OK);
  own = ComPtr<IDispatch>();
  auto app = ComPtr<wincheck::SimComApplication>::Adopt(new wincheck::SimComApplication(host->Application(), events));
  CHECK_EQ(addin->OnConnection(app.get(), mode, nullptr, nullptr), S_OK);
  CHECK_EQ(app->SinkCount(), 1u);  // the add-in listens to this host's events
  if (at_startup) CHECK_EQ(addin->OnStartupComplete(nullptr), S_OK);
  in_host(*app.get());
  if (at_startup) CHECK_EQ(addin->OnBeginShutdown(nullptr), S_OK);
  CHECK_EQ(addin->OnDisconnection(at_startup ? win::ext_dm_HostShutdown : win::ext_dm_UserClosed, nullptr), S_OK);
  CHECK_EQ(app->SinkCount(), 0u);  // and stops when it goes
  addin = ComPtr<win::IDTExtensibility2>();
  ::CoFreeUnusedLibraries();
}

CHECK_CASE(WordDrivesTheAddInThroughItsLifecycle) {
  auto word = hostsim::WordHost::Create();
  RunSession(word, win::kDIID_WordApplicationEvents4, win::ext_cm_Startup, [&](wincheck::SimComApplication& app) {
    const Variant doc(word->Wrap(word->Open((HarnessFolder() / "harness document.docx").string())));
    VARIANT_BOOL save_as_ui = VARIANT_FALSE, cancel = VARIANT_FALSE;
    app.Fire(win::kWordDocumentOpen, {{doc}});
    app.Fire(win::kWordDocumentChange, {});
    app.Fire(win::kWordDocumentBeforeSave, {{doc}, {.flag = &save_as_ui}, {.flag = &cancel}});
    CHECK(!cancel);  // a document the system does not manage is saved as Word likes
  });
  // The module reads the trace switch at initialisation: create's lines are not
  // among these.
  CheckTrace({{"AddInInitialize", "Session: "},
              {"AddInInitialize", "Running in NON cloud mode"},
              {"StartupComplete", ""},
              {"Word", "OnDocumentOpen"},
              {"Word", "OnDocumentChange session: "},
              {"Word", "OnDocumentBeforeSave: SaveAsUI=false"},
              {"AddInBeginShutdown", "Begin Shutdown of session: "},
              {"AddInBeginShutdown", "Shutdown of session: "},
              {"AddInFinalize", ""},
              {"AddInModuleDestroy", ""}});

  // Start-up complete opened (on a fresh machine, made) the cache under the
  // prefix's local application data.
  CHECK(fs::is_regular_file(AppDataDir() / L"Cache" / L"cache.dat"));
}

CHECK_CASE(ExcelLoadsTheAddInLaterAndTheUserUnloadsIt) {
  auto excel = hostsim::ExcelHost::Create();
  RunSession(excel, win::kDIID_ExcelAppEvents, win::ext_cm_AfterStartup, [&](wincheck::SimComApplication& app) {
    const Variant book(excel->Wrap(excel->Open((HarnessFolder() / "harness book.xlsx").string())));
    app.Fire(win::kExcelWorkbookOpen, {{book}});
    app.Fire(win::kExcelWorkbookActivate, {{book}});
  });
  // Start-up complete follows the connection at once, and the unload begins the
  // shutdown that the host never sent.
  CheckTrace({{"StartupComplete", ""},
              {"Excel", "OnWorkbookOpen"},
              {"Excel", "OnWindowActivate"},
              {"AddInBeginShutdown", "Begin Shutdown of session: "},
              {"AddInModuleDestroy", ""}});
}

// The add-in's start as Office pays for it: from the connection to start-up
// complete, beside its baseline of loading the DLL and making the add-in object.
// A figure for docs/performance.md, printed and not judged: a check that timed
// itself would fail on a loaded machine and prove nothing on a quiet one.
CHECK_CASE(StartTimeBesideLoadingTheDll) {
  constexpr int kRuns = 5;
  LARGE_INTEGER frequency{};
  ::QueryPerformanceFrequency(&frequency);
  const auto now_ms = [&] {
    LARGE_INTEGER at{};
    ::QueryPerformanceCounter(&at);
    return 1000.0 * static_cast<double>(at.QuadPart) / static_cast<double>(frequency.QuadPart);
  };
  std::vector<double> create_ms, start_ms;
  for (int run = 0; run < kRuns; ++run) {
    fs::remove(AppDataDir() / L"Cache" / L"cache.dat");  // each start makes the cache, as on a fresh machine
    WriteAddInIni(kTracingIni);
    auto word = hostsim::WordHost::Create();
    auto app = ComPtr<wincheck::SimComApplication>::Adopt(
        new wincheck::SimComApplication(word->Application(), win::kDIID_WordApplicationEvents4));
    const double t0 = now_ms();
    ComPtr<win::IDTExtensibility2> addin;
    CHECK_EQ(::CoCreateInstance(win::kCLSID_QuillornInterface, nullptr, CLSCTX_INPROC_SERVER,
                                win::kIID_IDTExtensibility2, reinterpret_cast<void**>(addin.Put())),
             S_OK);
    if (!addin) return;
    const double t1 = now_ms();
    CHECK_EQ(addin->OnConnection(app.get(), win::ext_cm_Startup, nullptr, nullptr), S_OK);
    CHECK_EQ(addin->OnStartupComplete(nullptr), S_OK);
    const double t2 = now_ms();
    create_ms.push_back(t1 - t0);
    start_ms.push_back(t2 - t1);
    CHECK_EQ(addin->OnBeginShutdown(nullptr), S_OK);
    CHECK_EQ(addin->OnDisconnection(win::ext_dm_HostShutdown, nullptr), S_OK);
    addin = ComPtr<win::IDTExtensibility2>();
    ::CoFreeUnusedLibraries();  // so that the next run loads the DLL again, where COM lets it go
  }
  const auto median = [](std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
  };
  std::printf("  start under Wine, median of %d: connection to start-up complete %.1f ms; "
              "baseline, DLL loaded and add-in object made %.1f ms\n",
              kRuns, median(start_ms), median(create_ms));
}

CHECK_CASE(UnregistrationLeavesNoKeyOfOursBehind) {
  CHECK_EQ(Regsvr32(L"/u /s"), 0);
  for (const wchar_t* host : {L"Word", L"Excel", L"PowerPoint", L"Publisher"}) {
    CHECK_EQ_NOTE(KeyExists(AddInKey(host)), false, platform::Utf8FromUtf16(host));
  }
  // The Office keys above ours stay: other add-ins live there.
  CHECK(KeyExists(L"Software\\Microsoft\\Office\\Word\\Addins"));
  for (const wchar_t* key : {L"Software\\Classes\\CLSID\\{2E97D5B0-4C18-4B6F-8A3D-9F1C62E07B85}",
                             L"Software\\Classes\\QuillornAddIn.QuillornInterface",
                             L"Software\\Classes\\TypeLib\\{5B3F2C61-9D84-4E2A-A7C1-3E6D0F8B4A17}",
                             L"Software\\Classes\\Interface\\{C84E1A29-6F0B-4D73-9E25-71B0A3D6C548}"}) {
    CHECK_EQ_NOTE(KeyExists(key), false, platform::Utf8FromUtf16(key));
  }
}

}  // namespace
