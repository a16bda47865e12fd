// Test code only: the module site the document routines run in, over a real
// data module in a folder of its own, a simulated host, scripted prompts and a
// loop on a manual clock, recording the pane, ribbon and not-yet-built calls.
// Also writes FILES rows as the desktop program does. Never used by the client.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "automation/control_fields.h"
#include "automation/document_fields.h"
#include "automation/file_type.h"
#include "data/connection_test_support.h"
#include "data/settings.h"
#include "data/tdm.h"
#include "foundation/context.h"
#include "foundation/temp_folder_for_test.h"
#include "hostsim/hosts.h"
#include "hostsim/model.h"
#include "platform/clock.h"
#include "platform/main_loop.h"
#include "platform/queue_main_loop.h"
#include "platform/scripted_prompts.h"
#include "platform/system_services.h"
#include "platform/variant.h"
#include "workflow/document_tracking.h"
#include "workflow/module_site.h"
#include "addin/tdm_record_source.h"
#include "data/tdm_document_data.h"

namespace quillorn::workflow::testing {

// A FILES row as the desktop program announces a file (or as a test finds one).
struct FilesRow {
  std::int32_t DOC_ID = 0;
  std::string FILENAME;
  bool INIT = false;
  std::optional<bool> IGNORE;  // nullopt: the column stays null
  bool OLE_IGNORE = false;
  std::optional<std::int32_t> SESSION_ID;
  bool READ_ONLY = false;
  bool PRINT = false;
  bool PRINT_CONTROLLED = false;
  std::int32_t USER_ID = 0;
  bool CHECKED_OUT = false;
  bool CACHED = false;
};

// The DOCS row a fetch of an earlier session left in the cache.
struct CachedDoc {
  std::int32_t DOC_ID = 0;
  std::int32_t DOC_NO = 0;
  std::string DOC_NAME = "Procedure";
  std::string STATUS = "A";
  std::string IS_CURRENT = "Y";
  std::string IS_LATEST = "Y";
  std::string VER = "3";
  std::int32_t FILE_TYPE = automation::kFileTypeWord;
};

class FakeSite final : public ModuleSite {
 public:
  // port 0: a loopback port where nothing listens, so that every ping fails.
  explicit FakeSite(platform::HostType kind, int port = 0) : host(hostsim::CreateHost(kind)), type_(kind) {
    cache = traced.folder.Dir() + "Cache/";
    std::filesystem::create_directories(cache);
    foundation::testing::WriteAll(traced.folder.Path() / data::kAddInIniName,
                                  "[Connection Settings]\r\nPort=" +
                                      std::to_string(port == 0 ? data::testing::DeadPort() : port) +
                                      "\r\nLocal_Address=127.0.0.1\r\nLocal_Timeout=5\r\n");
    tdm = std::make_unique<data::Tdm>(data::TdmFolders{app.Dir(), traced.folder.Dir(), cache}, false, loop, system,
                                      traced.context);
    tdm->sessionID = sessionID;
    tdm->AddIn = &callbacks_;
    data_ = std::make_unique<data::TdmDocumentData>(*tdm, system);
    records = std::make_unique<addin::TdmRecordSource>(*tdm, system);
    fields_.emplace(automation::DocFieldsContext{*records, type_, Variant(host->Application()), controlValues});
  }

  // ModuleSite
  HostType Host() const override { return type_; }
  int OfficeVersion() const override { return officeVersion; }
  bool IsCloudPlatform() const override { return cloud; }
  std::int32_t SessionID() const override { return sessionID; }
  Variant Application() override { return appConnected ? Variant(host->Application()) : Variant(); }
  void DisconnectApplication() override {
    appConnected = false;
    calls.emplace_back("DisconnectApplication");
  }
  data::DocumentRecords& Records() override { return *data_; }
  data::DataFetcher& Fetcher() override { return *data_; }
  platform::Prompts& Prompts() override { return prompts; }
  platform::SystemServices& System() override { return system; }
  automation::DocFieldsContext& FieldsContext() override { return *fields_; }
  foundation::ReentryFlag& mInternalSave() override { return internalSave; }
  foundation::ReentryFlag& mInternalClose() override { return internalClose; }
  platform::Timer& ShutdownTimer() override { return shutdownTimer; }
  platform::Timer& UploadCheckTimer() override { return uploadCheckTimer; }
  void ShowQuillornPane(std::int64_t docId) override {
    paneExists = true;
    calls.push_back("ShowQuillornPane " + std::to_string(docId));
  }
  void HideQuillornPane() override { calls.emplace_back("HideQuillornPane"); }
  void ShowQuillornTabs(bool visible) override {
    calls.push_back(std::string("ShowQuillornTabs ") + (visible ? "true" : "false"));
  }
  void SetQuillornRibbonButtonStates() override { calls.emplace_back("SetQuillornRibbonButtonStates"); }
  void PopulateCustomFields() override { callbacks_.PopulateCustomFields(); }
  bool PaneExists() const override { return paneExists; }
  std::optional<PageFormatSetting> PageFormat() const override { return pageFormat; }
  void RefreshPaneTemplates() override { calls.emplace_back("RefreshPaneTemplates"); }
  void NotBuilt(std::string_view routine) override { notBuilt.emplace_back(routine); }

  // The tracking of documents as the module owns it, over this site.
  DocumentTracking& Tracking() { return tracking_; }

  // The desktop program's side.

  // A file in the cache folder, opened in the host with the given cmsID (none
  // when nullopt) and made active; the document as the routines get it.
  Variant OpenDocument(const std::string& fileName, const std::optional<std::string>& cmsID) {
    return OpenPath(cache + fileName, cmsID);
  }
  Variant OpenPath(const std::string& path, const std::optional<std::string>& cmsID) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    auto model = host->Open(path);
    if (cmsID) {
      if (type_ == HostType::ohaPublisher) model->tags.push_back({"cmsID", *cmsID});
      else model->custom_properties.push_back({"cmsID", 4, *cmsID, false});
    }
    host->Activate(model);
    return Variant(host->Wrap(model));
  }
  std::shared_ptr<hostsim::DocumentModel> Model(const Variant& doc) const {
    for (const auto& model : host->Documents()) {
      if (Variant(host->Wrap(model)) == doc) return model;
    }
    return nullptr;
  }

  void Announce(const FilesRow& row) {
    const auto flag = [](bool b) { return std::string(b ? "true" : "false"); };
    Exec("insert into FILES (DOC_ID, FILENAME, INIT, IGNORE, OLE_IGNORE, SESSION_ID, READ_ONLY, PRINT, "
         "PRINT_CONTROLLED, USER_ID, CHECKED_OUT, CACHED) values (" +
         std::to_string(row.DOC_ID) + ", '" + data::SqlSafeString(row.FILENAME) + "', " + flag(row.INIT) + ", " +
         (row.IGNORE ? flag(*row.IGNORE) : "null") + ", " + flag(row.OLE_IGNORE) + ", " +
         (row.SESSION_ID ? std::to_string(*row.SESSION_ID) : "null") + ", " + flag(row.READ_ONLY) + ", " +
         flag(row.PRINT) + ", " + flag(row.PRINT_CONTROLLED) + ", " + std::to_string(row.USER_ID) + ", " +
         flag(row.CHECKED_OUT) + ", " + flag(row.CACHED) + ")");
  }

  // The record, its rights for `userId`, a user row and a field value, as an
  // earlier online session left them in the cache.
  void CacheDocument(const CachedDoc& doc, std::int32_t userId) {
    Exec("insert into DOCS (DOC_ID, DOC_NO, DOC_NAME, STATUS, IS_CURRENT, IS_LATEST, VER, FILE_TYPE) values (" +
         std::to_string(doc.DOC_ID) + ", " + std::to_string(doc.DOC_NO) + ", '" + data::SqlSafeString(doc.DOC_NAME) +
         "', '" + doc.STATUS + "', '" + doc.IS_CURRENT + "', '" + doc.IS_LATEST + "', '" + doc.VER + "', " +
         std::to_string(doc.FILE_TYPE) + ")");
    Exec("insert into DOC_PERMISSIONS (DOC_ID, USER_ID, P_EDIT, P_VIEW, P_APPROVE, P_CHECKOUT) values (" +
         std::to_string(doc.DOC_ID) + ", " + std::to_string(userId) + ", 'Y', 'Y', 'Y', 'Y')");
  }
  // The formats the control fields are written in.
  void CacheFieldCodes() {
    Exec("insert into CODES (D_TYPE, CODE, VAL) values ('REV_FIELD', 'DATE_FORMAT', 'dd/mm/yyyy')");
    Exec("insert into CODES (D_TYPE, CODE, VAL) values ('REV_FIELD', 'USER_NAME_FORMAT', '1')");
  }
  void CacheUser(std::int32_t userId, const std::string& login, const std::string& password) {
    Exec("insert into USERS (USER_ID, LOGIN, GIVEN_NAMES, SURNAME, WEB_PASSWORD) values (" + std::to_string(userId) +
         ", '" + login + "', 'Given', 'Surname', '" + password + "')");
  }

  // The file's row as the cache holds it now; nullopt when there is none.
  std::optional<FilesRow> Row(const std::string& fileName) {
    const Variant v = tdm->cacheLookup(
        "select DOC_ID, FILENAME, INIT, IGNORE, OLE_IGNORE, SESSION_ID, READ_ONLY, PRINT, PRINT_CONTROLLED, "
        "USER_ID, CHECKED_OUT, CACHED from FILES where upper(FILENAME)=upper('" +
        data::SqlSafeString(fileName) + "')");
    if (v.kind() != Variant::Kind::Array) return std::nullopt;
    const auto& f = v.AsArray();
    if (f[1].IsEmptyOrNull()) return std::nullopt;  // no row: every column null
    FilesRow row;
    row.DOC_ID = f[0].IsEmptyOrNull() ? 0 : f[0].AsInt();
    row.FILENAME = f[1].AsString();
    row.INIT = !f[2].IsEmptyOrNull() && f[2].AsBool();
    if (!f[3].IsEmptyOrNull()) row.IGNORE = f[3].AsBool();
    row.OLE_IGNORE = !f[4].IsEmptyOrNull() && f[4].AsBool();
    if (!f[5].IsEmptyOrNull()) row.SESSION_ID = f[5].AsInt();
    row.READ_ONLY = !f[6].IsEmptyOrNull() && f[6].AsBool();
    row.PRINT = !f[7].IsEmptyOrNull() && f[7].AsBool();
    row.PRINT_CONTROLLED = !f[8].IsEmptyOrNull() && f[8].AsBool();
    row.USER_ID = f[9].IsEmptyOrNull() ? 0 : f[9].AsInt();
    row.CHECKED_OUT = !f[10].IsEmptyOrNull() && f[10].AsBool();
    row.CACHED = !f[11].IsEmptyOrNull() && f[11].AsBool();
    return row;
  }
  int FilesRowCount() { return tdm->cacheLookup("select count(*) from FILES").AsInt(); }

  void Exec(const std::string& sql) {
    // The first statement makes the cache file, as the module's start would.
    if (!tdm->Cache.CacheDB().Connected()) {
      if (!std::filesystem::exists(cache + "cache.dat")) tdm->CreateCacheDB();
      tdm->cacheLookup("select VER_NO from VER");
    }
    ASSERT_TRUE(tdm->cacheExecSQL(sql)) << sql;
  }

  std::string Trace() const { return traced.Trace(); }
  bool Traced(const std::string& where, const std::string& what) const { return traced.Traced(where, what); }

  // Test surroundings, in the order they must be made.
  foundation::testing::TempFolder app;
  data::testing::TracedContext traced;
  std::string cache;
  platform::ManualClock clock;
  platform::QueueMainLoop loop{&clock};
  platform::FakeSystemServices system;
  platform::ScriptedPrompts prompts;
  std::shared_ptr<hostsim::SimHost> host;
  std::unique_ptr<data::Tdm> tdm;
  std::unique_ptr<data::TdmDocumentData> data_;
  std::unique_ptr<addin::TdmRecordSource> records;
  automation::ControlFieldValueArray controlValues{};

  int officeVersion = 2016;
  bool cloud = false;
  std::int32_t sessionID = 4711;
  bool appConnected = true;
  foundation::ReentryFlag internalSave;
  foundation::ReentryFlag internalClose;
  bool paneExists = false;
  std::optional<PageFormatSetting> pageFormat;
  platform::Timer shutdownTimer{loop, 500, [] {}};
  platform::Timer uploadCheckTimer{loop, 1000, [] {}};

  // "ShowQuillornPane 12", "HideQuillornPane", "ShowQuillornTabs true",
  // "SetQuillornRibbonButtonStates", "RefreshPaneTemplates", and what the data
  // module asked of the add-in ("PopulateCustomFields" ...), in order.
  std::vector<std::string> calls;
  std::vector<std::string> notBuilt;

 private:
  struct Callbacks final : data::AddInCallbacks {
    explicit Callbacks(std::vector<std::string>& c) : calls(c) {}
    void RefreshDocFields() override { calls.emplace_back("dm RefreshDocFields"); }
    void PopulateCustomFields() override { calls.emplace_back("PopulateCustomFields"); }
    void RefreshTemplateQuery() override { calls.emplace_back("dm RefreshTemplateQuery"); }
    void SetQuillornRibbonButtonStates() override { calls.emplace_back("dm SetQuillornRibbonButtonStates"); }
    std::vector<std::string>& calls;
  };

  HostType type_;
  Callbacks callbacks_{calls};
  std::optional<automation::DocFieldsContext> fields_;
  DocumentTracking tracking_{*this};
};

}  // namespace quillorn::workflow::testing
