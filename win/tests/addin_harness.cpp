// The add-in as an Office host meets it, under Wine: regsvr32 registers the DLL,
// the keys are read back, the add-in is created by its ProgID and driven as Word
// drives it (connect, start-up complete, a document opened through a real
// connection point, begin shutdown, disconnect) against a simulated Word served
// over IDispatch; then the module's trace and cache are looked at under the
// prefix's local application data, and regsvr32 /u must leave no key behind.
#include <windows.h>
#include <objbase.h>
#include <shlobj.h>
#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "hostsim/excel.h"
#include "hostsim/word.h"
#include "platform/win32/com_ptr.h"
#include "platform/win32/wide_text.h"
#include "win/addin_ids.h"
#include "win/extensibility.h"
#include "win/tests/check.h"
#include "win/tests/sim_excel_com.h"
#include "win/tests/sim_word_com.h"

using namespace quillorn;
using platform::ComPtr;
using platform::Utf16FromUtf8;
using platform::Utf8FromUtf16;

namespace {

namespace fs = std::filesystem;

std::wstring HarnessFolder() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  std::wstring p = path;
  return p.substr(0, p.find_last_of(L'\\') + 1);
}

std::wstring AddInPath() { return HarnessFolder() + L"QuillornAddIn.dll"; }

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
  std::wstring command = L"regsvr32.exe " + switches + L" \"" + AddInPath() + L"\"";
  STARTUPINFOW si{};
  si.cb = sizeof si;
  PROCESS_INFORMATION pi{};
  if (!::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &si, &pi)) return -1;
  DWORD code = static_cast<DWORD>(-1);
  if (::WaitForSingleObject(pi.hProcess, 60000) == WAIT_OBJECT_0) ::GetExitCodeProcess(pi.hProcess, &code);
  ::CloseHandle(pi.hThread);
  ::CloseHandle(pi.hProcess);
  std::printf("  regsvr32 %ls -> %ld\n", switches.c_str(), static_cast<long>(code));
  return static_cast<int>(code);
}

bool KeyExists(const std::wstring& key) {
  HKEY h = nullptr;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, &h) != ERROR_SUCCESS) return false;
  ::RegCloseKey(h);
  return true;
}

std::wstring ReadText(const std::wstring& key, const wchar_t* name) {
  wchar_t buffer[1024] = {};
  DWORD size = sizeof buffer;
  if (::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ | RRF_SUBKEY_WOW6464KEY, nullptr, buffer,
                     &size) != ERROR_SUCCESS)
    return L"<missing>";
  return buffer;
}

DWORD ReadNumber(const std::wstring& key, const wchar_t* name) {
  DWORD value = 0xFFFFFFFF;
  DWORD size = sizeof value;
  ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_DWORD | RRF_SUBKEY_WOW6464KEY, nullptr, &value,
                 &size);
  return value;
}

std::wstring GuidText(const GUID& guid) {
  wchar_t text[40] = {};
  ::StringFromGUID2(guid, text, 40);
  return text;
}

const std::wstring kClassKey = L"Software\\Classes\\CLSID\\" + GuidText(win::kCLSID_QuillornInterface);
const std::wstring kProgIdKey = L"Software\\Classes\\QuillornAddIn.QuillornInterface";
std::wstring AddInKey(const wchar_t* host) {
  return std::wstring(L"Software\\Microsoft\\Office\\") + host + L"\\Addins\\QuillornAddIn.QuillornInterface";
}
const wchar_t* const kHosts[] = {L"Word", L"Excel", L"PowerPoint"};

std::string Narrow(const std::wstring& w) { return Utf8FromUtf16(w); }

CHECK_CASE(RegistrationWritesTheClassTheLibraryAndTheOfficeKeys) {
  WriteAddInIni("");  // no Publisher setting: Word, Excel and PowerPoint only
  CHECK_EQ(Regsvr32(L"/s"), 0);

  CLSID clsid{};
  CHECK_EQ(::CLSIDFromProgID(L"QuillornAddIn.QuillornInterface", &clsid), S_OK);
  CHECK(clsid == win::kCLSID_QuillornInterface);
  CHECK_EQ(Narrow(ReadText(kClassKey, nullptr)), std::string("QuillornInterface Object"));
  CHECK_EQ(Narrow(ReadText(kClassKey + L"\\InprocServer32", nullptr)), Narrow(AddInPath()));
  CHECK_EQ(Narrow(ReadText(kClassKey + L"\\InprocServer32", L"ThreadingModel")), std::string("Apartment"));
  CHECK_EQ(Narrow(ReadText(kClassKey + L"\\ProgID", nullptr)), std::string("QuillornAddIn.QuillornInterface"));

  for (const wchar_t* host : kHosts) {
    const std::string note = Narrow(host);
    CHECK_EQ_NOTE(Narrow(ReadText(AddInKey(host), L"FriendlyName")), std::string("Quillorn"), note);
    CHECK_EQ_NOTE(Narrow(ReadText(AddInKey(host), L"Description")),
                  std::string("Integral part of the Quillorn Document Management System"), note);
    CHECK_EQ_NOTE(ReadNumber(AddInKey(host), L"LoadBehavior"), 3u, note);
  }
  CHECK(!KeyExists(AddInKey(L"Publisher")));

  // The type library as a host's tools would read it.
  ComPtr<ITypeLib> library;
  CHECK_EQ(::LoadRegTypeLib(win::kLibId, 1, 0, LOCALE_NEUTRAL, library.Put()), S_OK);
  if (library) {
    BSTR name = nullptr, doc = nullptr;
    library->GetDocumentation(-1, &name, &doc, nullptr, nullptr);
    CHECK_EQ(Narrow(name ? name : L""), std::string("QuillornAddIn"));
    CHECK_EQ(Narrow(doc ? doc : L""), std::string("QuillornAddIn Library"));
    ::SysFreeString(name);
    ::SysFreeString(doc);
    const struct {
      GUID guid;
      TYPEKIND kind;
      const char* name;
      const char* doc;
    } infos[] = {
        {win::kIID_IQuillornInterface, TKIND_DISPATCH, "IQuillornInterface", "Dispatch interface for QuillornInterface Object"},
        {win::kCLSID_QuillornInterface, TKIND_COCLASS, "QuillornInterface", "QuillornInterface Object"},
    };
    for (const auto& expected : infos) {
      ComPtr<ITypeInfo> info;
      CHECK_EQ_NOTE(library->GetTypeInfoOfGuid(expected.guid, info.Put()), S_OK, expected.name);
      if (!info) continue;
      TYPEATTR* attr = nullptr;
      info->GetTypeAttr(&attr);
      CHECK_EQ_NOTE(attr->typekind, expected.kind, expected.name);
      info->ReleaseTypeAttr(attr);
      BSTR info_name = nullptr, info_doc = nullptr;
      info->GetDocumentation(MEMBERID_NIL, &info_name, &info_doc, nullptr, nullptr);
      CHECK_EQ(Narrow(info_name ? info_name : L""), std::string(expected.name));
      CHECK_EQ(Narrow(info_doc ? info_doc : L""), std::string(expected.doc));
      ::SysFreeString(info_name);
      ::SysFreeString(info_doc);
    }
  }

  // With the Publisher setting on, Publisher is registered too.
  WriteAddInIni("[Supported Office Apps]\r\nPublisher=Yes\r\n");
  CHECK_EQ(Regsvr32(L"/s"), 0);
  CHECK_EQ(ReadNumber(AddInKey(L"Publisher"), L"LoadBehavior"), 3u);
}

struct TraceLine {
  std::string where, what;
};

std::vector<TraceLine> ReadTrace() {
  std::ifstream in(AppDataDir() / L"AddIn Trace.txt", std::ios::binary);
  std::vector<TraceLine> lines;
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const auto first = line.find('\t');
    if (first == std::string::npos) continue;
    const auto second = line.find('\t', first + 1);
    TraceLine t;
    t.where = line.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
    t.what = second == std::string::npos ? std::string() : line.substr(second + 1);
    lines.push_back(t);
  }
  return lines;
}

struct CacheReading {
  std::string error = "opened";
  std::string version;
  std::vector<std::string> tables;
};

// The cache file as another process sees it, read-only: the schema version and
// the tables.
CacheReading ReadCache(const fs::path& file) {
  CacheReading reading;
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(file.string().c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK) {
    reading.error = db != nullptr ? sqlite3_errmsg(db) : "cannot open";
    sqlite3_close(db);
    return reading;
  }
  auto each_row = [&](const std::string& sql, const std::function<void(sqlite3_stmt*)>& row) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      reading.error = sqlite3_errmsg(db);
      return;
    }
    while (sqlite3_step(statement) == SQLITE_ROW) row(statement);
    sqlite3_finalize(statement);
  };
  auto text = [](sqlite3_stmt* s, int column) {
    const unsigned char* t = sqlite3_column_text(s, column);
    return t != nullptr ? std::string(reinterpret_cast<const char*>(t)) : std::string();
  };
  each_row("select VER_NO from VER", [&](sqlite3_stmt* s) { reading.version = text(s, 0); });
  each_row("select upper(name) from sqlite_master where type='table'",
           [&](sqlite3_stmt* s) { reading.tables.push_back(text(s, 0)); });
  sqlite3_close(db);
  return reading;
}

// Tracing on, and a server address on this machine that answers nobody.
constexpr char kTracingIni[] =
    "[Debug]\r\nTrace=true\r\n[Connection Settings]\r\nLocal_Address=127.0.0.1\r\nPort=9\r\nLocal_TimeOut=1\r\n";

struct ExpectedLine {
  const char* where;
  std::string what;
  bool prefix;  // `what` is the start of the line
};

// Each expected line must come after the one before it; others may come between.
void CheckInOrder(const std::vector<TraceLine>& trace, const std::vector<ExpectedLine>& expected) {
  std::size_t at = 0;
  for (const ExpectedLine& e : expected) {
    std::size_t i = at;
    while (i < trace.size() && !(trace[i].where == e.where &&
                                 (e.prefix ? trace[i].what.rfind(e.what, 0) == 0 : trace[i].what == e.what))) {
      ++i;
    }
    CHECK_EQ_NOTE(i < trace.size(), true, std::string("in order: ") + e.where + " " + e.what);
    if (i < trace.size()) at = i + 1;
  }
}

void PrintTrace(const std::vector<TraceLine>& trace) {
  std::printf("  -- the module's trace (%zu lines):\n", trace.size());
  for (const TraceLine& t : trace) std::printf("  | %s | %s\n", t.where.c_str(), t.what.c_str());
}

// The add-in as Office creates it, by its ProgID; null after a failed check.
ComPtr<win::IDTExtensibility2> CreateAddIn() {
  CLSID clsid{};
  CHECK_EQ(::CLSIDFromProgID(L"QuillornAddIn.QuillornInterface", &clsid), S_OK);
  ComPtr<win::IDTExtensibility2> addin;
  CHECK_EQ(::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, win::kIID_IDTExtensibility2,
                              reinterpret_cast<void**>(addin.Put())),
           S_OK);
  return addin;
}

CHECK_CASE(WordDrivesTheAddInThroughItsLifecycle) {
  fs::remove(AppDataDir() / L"AddIn Trace.txt");
  WriteAddInIni(kTracingIni);

  ComPtr<win::IDTExtensibility2> addin = CreateAddIn();
  if (!addin) return;
  // The co-class's own dispatch interface answers too.
  ComPtr<IDispatch> own;
  CHECK_EQ(addin->QueryInterface(win::kIID_IQuillornInterface, reinterpret_cast<void**>(own.Put())), S_OK);

  auto word_host = hostsim::WordHost::Create();
  word_host->version = "16.0";
  auto* word = new wincheck::SimWordApplication(word_host);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(word);

  std::printf("  OnConnection\n");
  CHECK_EQ(addin->OnConnection(application.get(), win::ext_cm_Startup, nullptr, nullptr), S_OK);
  CHECK_EQ(word->SinkCount(), 1u);  // the add-in listens to Word's events
  std::printf("  OnStartupComplete\n");
  CHECK_EQ(addin->OnStartupComplete(nullptr), S_OK);

  const std::string document = Narrow(HarnessFolder()) + "harness document.docx";
  std::printf("  Documents.Open %s\n", document.c_str());
  auto doc = word_host->Open(document);
  CHECK(doc != nullptr);
  // A save through Word: the add-in hears it, and Word's flags come back unchanged.
  CHECK(word_host->Save(doc));
  CHECK(!word->last_cancel);

  std::printf("  OnBeginShutdown\n");
  CHECK_EQ(addin->OnBeginShutdown(nullptr), S_OK);
  std::printf("  OnDisconnection\n");
  CHECK_EQ(addin->OnDisconnection(win::ext_dm_HostShutdown, nullptr), S_OK);
  CHECK_EQ(word->SinkCount(), 0u);  // and stops listening when it goes
  own = ComPtr<IDispatch>();
  addin = ComPtr<win::IDTExtensibility2>();
  ::CoFreeUnusedLibraries();

  const std::vector<TraceLine> trace = ReadTrace();
  PrintTrace(trace);

  // The lines of a session, in this order (others may come between them). The
  // module reads the trace switch at initialisation, so create's lines are not
  // among them.
  CheckInOrder(trace, {
                          {"AddInInitialize", "Session: ", true},
                          {"AddInInitialize", "Running in NON cloud mode", false},
                          {"StartupComplete", "", false},
                          {"Word", "OnDocumentOpen", false},
                          {"Word", "OnDocumentChange session: ", true},
                          {"Word", "OnDocumentBeforeSave: SaveAsUI=false", false},
                          {"AddInBeginShutdown", "Begin Shutdown of session: ", true},
                          {"AddInBeginShutdown", "Shutdown of session: ", true},
                          {"AddInFinalize", "", false},
                          {"AddInModuleDestroy", "", false},
                      });
  std::string session;
  // One session number throughout: the one initialisation took.
  for (const TraceLine& t : trace) {
    if (t.where == "AddInInitialize" && t.what.rfind("Session: ", 0) == 0) session = t.what.substr(9);
  }
  CHECK(!session.empty());
  for (const TraceLine& t : trace) {
    if (t.where == "AddInBeginShutdown" && t.what.rfind("Begin Shutdown of session: ", 0) == 0) {
      CHECK_EQ(t.what.substr(27), session);
    }
  }
  // The cache under the prefix's local application data: start-up complete opened
  // it, making it with the current schema on a fresh machine.
  const fs::path cache = AppDataDir() / L"Cache" / L"cache.dat";
  CHECK(fs::exists(cache));
  const CacheReading reading = ReadCache(cache);
  std::printf("  cache.dat: %s, VER %s, %zu tables\n", reading.error.c_str(), reading.version.c_str(),
              reading.tables.size());
  CHECK_EQ(reading.error, std::string("opened"));
  CHECK_EQ(reading.version, std::string("8"));
  for (const char* table : {"FILES", "DOCS", "USERS", "CODES", "VER"}) {
    CHECK_EQ_NOTE(std::count(reading.tables.begin(), reading.tables.end(), table), 1, table);
  }
}

CHECK_CASE(ExcelDrivesTheAddInThroughItsSink) {
  fs::remove(AppDataDir() / L"AddIn Trace.txt");
  WriteAddInIni(kTracingIni);
  ComPtr<win::IDTExtensibility2> addin = CreateAddIn();
  if (!addin) return;
  auto excel_host = hostsim::ExcelHost::Create();
  excel_host->version = "16.0";
  auto* excel = new wincheck::SimExcelApplication(excel_host);
  ComPtr<IDispatch> application = ComPtr<IDispatch>::Adopt(excel);

  // Loaded into Excel, the add-in listens to Excel's events and not Word's.
  CHECK_EQ(addin->OnConnection(application.get(), win::ext_cm_AfterStartup, nullptr, nullptr), S_OK);
  CHECK_EQ(excel->SinkCount(), 1u);
  auto wb = excel_host->Open(Narrow(HarnessFolder()) + "harness book.xlsx");
  CHECK(wb != nullptr);
  CHECK_EQ(addin->OnDisconnection(win::ext_dm_UserClosed, nullptr), S_OK);
  CHECK_EQ(excel->SinkCount(), 0u);
  addin = ComPtr<win::IDTExtensibility2>();
  ::CoFreeUnusedLibraries();

  const std::vector<TraceLine> trace = ReadTrace();
  PrintTrace(trace);
  CheckInOrder(trace, {
                          {"StartupComplete", "", false},
                          {"Excel", "OnWorkbookOpen", false},
                          {"Excel", "OnWindowActivate", false},
                          {"AddInBeginShutdown", "Begin Shutdown of session: ", true},
                          {"AddInModuleDestroy", "", false},
                      });
}

CHECK_CASE(UnregistrationLeavesNoKeyBehind) {
  CHECK_EQ(Regsvr32(L"/u /s"), 0);
  CHECK(!KeyExists(kClassKey));
  CHECK(!KeyExists(kProgIdKey));
  for (const wchar_t* host : {L"Word", L"Excel", L"PowerPoint", L"Publisher"}) {
    CHECK_EQ_NOTE(KeyExists(AddInKey(host)), false, Narrow(host));
  }
  // The Office keys above ours stay: other add-ins live there.
  CHECK(KeyExists(L"Software\\Microsoft\\Office\\Word\\Addins"));
  CHECK(!KeyExists(L"Software\\Classes\\TypeLib\\" + GuidText(win::kLibId)));
  CHECK(!KeyExists(L"Software\\Classes\\Interface\\" + GuidText(win::kIID_IQuillornInterface)));
  CLSID clsid{};
  CHECK(FAILED(::CLSIDFromProgID(L"QuillornAddIn.QuillornInterface", &clsid)));
}

}  // namespace
