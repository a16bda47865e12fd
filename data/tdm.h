// Tdm, the data module of one add-in instance: the settings, the connection, the
// cache and its table objects under their usual names, with the one-statement
// helpers. A thin facade: each concern lives in its own unit. Holds no globals, so
// that two instances (a Word and an Excel add-in) can share one process and cache.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "data/addin_callbacks.h"
#include "data/cache_query.h"
#include "data/cache_store.h"
#include "data/change_capture.h"
#include "data/commit.h"
#include "data/connection.h"
#include "data/fetching.h"
#include "data/remote_catalogue.h"
#include "data/settings.h"
#include "data/table.h"
#include "foundation/context.h"
#include "platform/main_loop.h"
#include "platform/system_services.h"
#include "platform/window_messages.h"

namespace quillorn::data {

// The add-in instance's folders, each ending in a path delimiter.
struct TdmFolders {
  std::string AppDir;
  std::string AppDataDir;
  std::string CacheDir;
};

class Tdm final : private ConnectionOwner {
 public:
  // Runs DataModuleCreate. Raises when quillorn.ini holds a bad port range; the
  // cache is not opened and no call goes out here. Loop, System and Context must
  // outlive the module.
  Tdm(TdmFolders Folders, bool IsCloudPlatform, platform::MainLoop& Loop, platform::SystemServices& System,
      foundation::LogContext& Context);
  // Runs DataModuleDestroy: the temp files go.
  ~Tdm() override;
  Tdm(const Tdm&) = delete;
  Tdm& operator=(const Tdm&) = delete;

  const TdmFolders& Folders() const { return folders_; }
  // Every file of the module's own is read and written through these.
  platform::SystemServices& System() { return system_; }
  // The instance's log context: every routine of the module runs in it.
  foundation::LogContext& Context() { return context_; }

  // Settings.
  bool loadSetting(std::string_view Section, std::string_view Key, std::string& Value,
                   std::string_view Default) const {
    return Settings.loadSetting(Section, Key, Value, Default);
  }
  bool loadUserSetting(std::string_view Section, std::string_view Key, std::string& Value,
                       std::string_view Default) const {
    return Settings.loadUserSetting(Section, Key, Value, Default);
  }
  void InitConnectionSettings() { Settings.InitConnectionSettings(); }
  std::string CurrentServerAddress() const { return Settings.CurrentServerAddress(); }
  int CurrentServerTimeout() const { return Settings.CurrentServerTimeout(); }

  // Connection.
  bool ConnectToServer(bool Blocking) { return Connection.ConnectToServer(Blocking); }
  void SetIsServerReachable(bool Value) { Connection.SetIsServerReachable(Value); }
  bool mIsServerReachable() const { return Connection.mIsServerReachable; }
  // Told of every SetIsServerReachable, not only of changes; the add-in module
  // sets it just after creating the module.
  std::function<void(Tdm& Sender, bool Reachable)> FReachableEvent;

  // Cache.
  // Each runs in this instance's context, so that its traces land in its own log.
  void LoadFromCache(Table& Table) {
    foundation::ContextScope scope(context_);
    Cache.LoadFromCache(Table);
  }
  void CreateCacheDB() {
    foundation::ContextScope scope(context_);
    Cache.CreateCacheDB();
  }
  void ClearOldCache();
  Variant cacheLookup(const std::string& SQL) {
    foundation::ContextScope scope(context_);
    return Cache.cacheLookup(SQL);
  }
  bool cacheExecSQL(const std::string& SQL) {
    foundation::ContextScope scope(context_);
    return Cache.cacheExecSQL(SQL);
  }
  Variant memLookup(const std::string& SQL) {
    foundation::ContextScope scope(context_);
    return Cache.memLookup(SQL);
  }
  bool memExecSQL(const std::string& SQL) {
    foundation::ContextScope scope(context_);
    return Cache.memExecSQL(SQL);
  }
  static std::string MyVarToStrDef(const Variant& Value, const std::string& Default) {
    return data::MyVarToStrDef(Value, Default);
  }
  static std::string SqlSafeString(const std::string& S) { return data::SqlSafeString(S); }

  // Sends what waited while offline, once per connection. Does nothing while
  // no server answers.
  void CommitCache() override;

  // Change capture and commit; each runs in this instance's context.
  void SaveToCache(const std::string& TableName, transport::TRpcDataSetMonitor* Monitor) {
    foundation::ContextScope scope(context_);
    Capture.SaveToCache(TableName, Monitor);
  }
  void SaveData(const std::string& TableName, transport::TRpcDataSetMonitor* Monitor, const std::string& KeyFields) {
    foundation::ContextScope scope(context_);
    Capture.SaveData(TableName, Monitor, KeyFields);
  }
  void SaveDocData() {
    foundation::ContextScope scope(context_);
    Capture.SaveDocData();
  }
  void SavePublishedDocs() {
    foundation::ContextScope scope(context_);
    Capture.SavePublishedDocs();
  }
  void SaveWebFormData() {
    foundation::ContextScope scope(context_);
    Capture.SaveWebFormData();
  }
  void SaveDocFields() {
    foundation::ContextScope scope(context_);
    Capture.SaveDocFields();
  }
  void SaveAllData() {
    foundation::ContextScope scope(context_);
    Capture.SaveAllData();
  }
  void CommitToServer(const std::string& TableName, const std::string& KeyFields) {
    foundation::ContextScope scope(context_);
    Commit.CommitToServer(TableName, KeyFields);
  }
  void SaveDocument() {
    foundation::ContextScope scope(context_);
    Commit.SaveDocument();
  }
  void PostDocsToServer() {
    foundation::ContextScope scope(context_);
    Commit.PostDocsToServer();
  }

  // Called by the add-in module when it goes: after this the owner frees the module.
  void ShutDown();

  // The parts, under the names the rest of the data layer uses.
  TdmSettings Settings;
  CacheStore Cache;
  TdmConnection Connection;

  // Which shared sets the server has given in this online spell.
  LiveSets Live;
  int UserID = 0;
  // Nothing ever assigns it, so it stays 0; one locate of OpenDocPermissions reads it.
  int mUserID = 0;
  // The add-in module's side of the fetches' replies; null where there is none.
  AddInCallbacks* AddIn = nullptr;
  // The add-in module's session number, for the traces of the delta files.
  std::int32_t sessionID = 0;
  // Where the desktop program is told of committed documents; the add-in
  // module sets it. Null: nobody is told.
  platform::WindowMessages* Messages = nullptr;

  Table tblDoc;
  Table tblDocFields;
  Table tblUsers;
  Table tblCodes;
  Table tblFiles;
  Table tblTemplates;
  Table tblDocPermissions;
  Table tblWebForm;
  Table tblPublishedDocs;
  Table tblLogo;
  Table tblGroups;
  Table tblUserGroupLinks;
  Table tblWebFields;
  Table tblReviewIntervals;
  // The possible approvers, on the cached users and groups.
  CacheQuery qApprovalUsers;

  // After the tables they watch and send.
  ChangeCapture Capture;
  TdmCommit Commit;
  transport::TRpcDataSetMonitor& monDoc = Capture.monDoc;
  transport::TRpcDataSetMonitor& monDocFields = Capture.monDocFields;
  transport::TRpcDataSetMonitor& monUsers = Capture.monUsers;
  transport::TRpcDataSetMonitor& monCodes = Capture.monCodes;
  transport::TRpcDataSetMonitor& monWebForm = Capture.monWebForm;
  transport::TRpcDataSetMonitor& monPublishedDocs = Capture.monPublishedDocs;

  // The result objects of the fetches, each wired to its handlers.
  FetchResults Results;

  // Files extracted from the cache for this session, deleted when the module goes.
  std::vector<std::string> TempFiles;

 private:
  void RefetchStaleData() override;
  void ServerReachable(bool Reachable) override;
  void DataModuleCreate();
  void DataModuleDestroy();

  TdmFolders folders_;
  bool isCloudPlatform_;
  platform::SystemServices& system_;
  foundation::LogContext& context_;
};

}  // namespace quillorn::data
