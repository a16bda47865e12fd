#include "data/change_capture.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "data/proc_name_scope.h"
#include "data/tdm.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

namespace {

using foundation::LogException;
using foundation::LogTrace;

bool LessIgnoringCase(const std::string& a, const std::string& b) {
  return foundation::UpperCase(a) < foundation::UpperCase(b);
}

void Activate(transport::TRpcDataSetMonitor& monitor, MonitoredTable& table) {
  monitor.SetDataSet(&table);
  monitor.SetActive(true);
}

}  // namespace

std::vector<std::string> CacheFilesOf(platform::SystemServices& System, const std::string& CacheDir,
                                      const std::string& TableName) {
  std::vector<std::string> names;
  const std::string prefix = foundation::UpperCase(TableName) + ".";
  for (std::string& name : System.ListFiles(CacheDir)) {
    if (foundation::UpperCase(name).rfind(prefix, 0) == 0) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end(), LessIgnoringCase);
  return names;
}

std::string GetNextCacheFileName(platform::SystemServices& System, const std::string& CacheDir,
                                 const std::string& TableName) {
  const std::vector<std::string> names = CacheFilesOf(System, CacheDir, TableName);
  if (names.empty()) return TableName + ".000";
  const std::string& last = names.back();
  const std::string digits = last.size() >= 3 ? last.substr(last.size() - 3) : last;
  if (digits.size() != 3 || !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    throw std::invalid_argument("'" + digits + "' is not a valid integer value");
  }
  char number[16];
  std::snprintf(number, sizeof number, "%.3d", std::stoi(digits) + 1);
  return TableName + "." + number;
}

ChangeCapture::ChangeCapture(Tdm& dm)
    : dm_(dm),
      docTable_(dm.tblDoc),
      docFieldsTable_(dm.tblDocFields),
      usersTable_(dm.tblUsers),
      codesTable_(dm.tblCodes),
      webFormTable_(dm.tblWebForm),
      publishedDocsTable_(dm.tblPublishedDocs) {
  Activate(monDoc, docTable_);
  Activate(monDocFields, docFieldsTable_);
  Activate(monUsers, usersTable_);
  Activate(monCodes, codesTable_);
  Activate(monWebForm, webFormTable_);
  Activate(monPublishedDocs, publishedDocsTable_);
  // A row the add-in adds to tblDoc only to track a document is not a change
  // of the document: monDoc sleeps from an insert to the next post, and only
  // edits of rows are recorded. Switching it off drops what it held: an edit
  // that SaveDocData has not yet written down goes with it.
  dm.tblDoc.BeforeInsert = [this](Table&) { monDoc.SetActive(false); };
  dm.tblDoc.AfterPost = [this](Table&) { monDoc.SetActive(true); };
}

ChangeCapture::~ChangeCapture() {
  dm_.tblDoc.BeforeInsert = nullptr;
  dm_.tblDoc.AfterPost = nullptr;
}

void ChangeCapture::SaveToCache(const std::string& TableName, transport::TRpcDataSetMonitor* Monitor) {
  ProcNameScope proc("dm.SaveToCache");
  if (Monitor == nullptr || !Monitor->Changed()) return;
  platform::SystemServices& system = dm_.System();
  const std::string& cacheDir = dm_.Folders().CacheDir;
  // Named and written before the change leaves the monitor: whatever fails
  // on the way leaves it where it was, for the next save.
  const std::string fileName = GetNextCacheFileName(system, cacheDir, TableName);
  const transport::TRpcValue changes = Monitor->PeekChanges();
  if (changes.IsNull()) return;
  const std::string path = cacheDir + fileName;
  if (!system.WriteFile(path, changes.toCode())) {
    // A commit walks the files: half a delta must never stay to be sent.
    system.DeleteFile(path);
    LogException(nullptr, "SaveToCache: Cannot create file \"" + path + "\". The change waits for the next save.");
    return;
  }
  if (!dm_.cacheExecSQL("insert into CACHELOG (FILENAME, USER_ID) values ('" + fileName + "'," +
                        std::to_string(dm_.UserID) + ")")) {
    system.DeleteFile(path);
    LogException(nullptr, "SaveToCache: no CACHELOG row for \"" + fileName + "\". The change waits for the next save.");
    return;
  }
  Monitor->ExtractChanges();
  LogTrace("SaveToCache (" + std::to_string(dm_.sessionID) + ")",
           "Log name: " + TableName + "\tDelta file: " + fileName);
}

void ChangeCapture::SaveData(const std::string& TableName, transport::TRpcDataSetMonitor* Monitor,
                             const std::string& KeyFields) {
  ProcNameScope proc("dm.SaveData");
  SaveToCache(TableName, Monitor);
  if (dm_.mIsServerReachable()) dm_.CommitToServer(TableName, KeyFields);
}

void ChangeCapture::SaveDocData() {
  if (dm_.tblDoc.Active()) SaveData(dm_.tblDoc.TableName(), &monDoc, "DOC_ID");
}

void ChangeCapture::SavePublishedDocs() {
  if (dm_.tblPublishedDocs.Active()) {
    SaveData(dm_.tblPublishedDocs.TableName(), &monPublishedDocs, "DOC_NO;SOURCE_TYPE");
  }
}

void ChangeCapture::SaveWebFormData() {
  if (dm_.tblWebForm.Active()) SaveData(dm_.tblWebForm.TableName(), &monWebForm, "DOC_NO");
}

void ChangeCapture::SaveDocFields() {
  if (dm_.tblDocFields.Active()) SaveData("CODES", &monDocFields, "");
}

void ChangeCapture::SaveAllData() {
  SaveDocFields();
  SaveDocData();
  SaveWebFormData();
}

}  // namespace quillorn::data
