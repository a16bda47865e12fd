// The records and fetcher of the document routines over one add-in instance's
// data module: each call is the data module's routine of that name.
#pragma once

#include <string>

#include "data/document_data.h"
#include "platform/system_services.h"

namespace quillorn::data {

class Tdm;

class TdmDocumentData final : public DocumentRecords, public DataFetcher {
 public:
  // Both must outlive this object; System names the files taken out of the cache.
  TdmDocumentData(Tdm& dm, platform::SystemServices& System) : dm_(dm), system_(System) {}

  // DocumentRecords
  foundation::LogContext& Context() override;
  Table& tblFiles() override;
  Table& tblDoc() override;
  Table& tblPublishedDocs() override;
  int UserID() const override;
  void SetUserID(int userId) override;
  int PromptUserForLogin(platform::Prompts& prompts, int officeVersion) override;
  bool cacheExecSQL(const std::string& sql) override;
  Variant cacheLookup(const std::string& sql) override;
  std::string CloudExportFolder() const override;
  void SaveDocData() override;
  void SaveDocument() override;
  void SavePublishedDocs() override;
  void SaveWebFormData() override;

  // DataFetcher
  void OpenFiles() override;
  void OpenPublishedDocs() override;
  void OpenDocFields(Fetch how) override;
  void OpenUsers(Fetch how) override;
  void OpenGroups(Fetch how) override;
  void OpenUserGroupLinks(Fetch how) override;
  void OpenCodes(Fetch how) override;
  void OpenLogo(Fetch how) override;
  void OpenTemplates(Fetch how) override;
  bool OpenDoc(int docId, Fetch how, Wait waiting) override;
  bool OpenDocPermissions(int docId, int userId, Fetch how, Wait waiting) override;
  bool DocPermissionsIsCached(int docId, int userId) override;
  bool OpenWebForm(int docNo, Fetch how, Wait waiting) override;
  std::string GetLogoFile() override;
  bool mIsServerReachable() const override;
  void ConnectToServer(Wait waiting) override;
  bool WaitForCompletion() override;
  bool ExecSQL(const std::string& sql) override;
  Variant lookup(const std::string& sql) override;

 private:
  Tdm& dm_;
  platform::SystemServices& system_;
};

}  // namespace quillorn::data
