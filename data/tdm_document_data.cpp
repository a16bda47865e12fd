#include "data/tdm_document_data.h"

#include "data/cache_files.h"
#include "data/login.h"
#include "data/lookups.h"
#include "data/tdm.h"

namespace quillorn::data {

foundation::LogContext& TdmDocumentData::Context() { return dm_.Context(); }
Table& TdmDocumentData::tblFiles() { return dm_.tblFiles; }
Table& TdmDocumentData::tblDoc() { return dm_.tblDoc; }
Table& TdmDocumentData::tblPublishedDocs() { return dm_.tblPublishedDocs; }
int TdmDocumentData::UserID() const { return dm_.UserID; }
void TdmDocumentData::SetUserID(int userId) { dm_.UserID = userId; }
int TdmDocumentData::PromptUserForLogin(platform::Prompts& prompts, int officeVersion) {
  return data::PromptUserForLogin(dm_, prompts, officeVersion);
}
bool TdmDocumentData::cacheExecSQL(const std::string& sql) { return dm_.cacheExecSQL(sql); }
Variant TdmDocumentData::cacheLookup(const std::string& sql) { return dm_.cacheLookup(sql); }
std::string TdmDocumentData::CloudExportFolder() const { return dm_.Settings.CloudExportFolder; }
void TdmDocumentData::SaveDocData() { dm_.SaveDocData(); }
void TdmDocumentData::SaveDocument() { dm_.SaveDocument(); }
void TdmDocumentData::SavePublishedDocs() { dm_.SavePublishedDocs(); }
void TdmDocumentData::SaveWebFormData() { dm_.SaveWebFormData(); }

void TdmDocumentData::OpenFiles() { data::OpenFiles(dm_); }
void TdmDocumentData::OpenPublishedDocs() { data::OpenPublishedDocs(dm_); }
void TdmDocumentData::OpenDocFields(Fetch how) { data::OpenDocFields(dm_, how); }
void TdmDocumentData::OpenUsers(Fetch how) { data::OpenUsers(dm_, how); }
void TdmDocumentData::OpenGroups(Fetch how) { data::OpenGroups(dm_, how); }
void TdmDocumentData::OpenUserGroupLinks(Fetch how) { data::OpenUserGroupLinks(dm_, how); }
void TdmDocumentData::OpenCodes(Fetch how) { data::OpenCodes(dm_, how); }
void TdmDocumentData::OpenLogo(Fetch how) { data::OpenLogo(dm_, how); }
void TdmDocumentData::OpenTemplates(Fetch how) { data::OpenTemplates(dm_, how); }
bool TdmDocumentData::OpenDoc(int docId, Fetch how, Wait waiting) { return data::OpenDoc(dm_, docId, how, waiting); }
bool TdmDocumentData::OpenDocPermissions(int docId, int userId, Fetch how, Wait waiting) {
  return data::OpenDocPermissions(dm_, docId, userId, how, waiting);
}
bool TdmDocumentData::DocPermissionsIsCached(int docId, int userId) {
  return data::DocPermissionsIsCached(dm_, docId, userId);
}
bool TdmDocumentData::OpenWebForm(int docNo, Fetch how, Wait waiting) {
  return data::OpenWebForm(dm_, docNo, how, waiting);
}
std::string TdmDocumentData::GetLogoFile() { return data::GetLogoFile(dm_, system_); }

bool TdmDocumentData::mIsServerReachable() const { return dm_.mIsServerReachable(); }
void TdmDocumentData::ConnectToServer(Wait waiting) { dm_.ConnectToServer(waiting == Wait::ForAnswer); }
bool TdmDocumentData::WaitForCompletion() {
  foundation::ContextScope scope(dm_.Context());
  return dm_.Connection.ClientModule.WaitForCompletion(dm_.Settings.RetryTimeOut);
}
bool TdmDocumentData::ExecSQL(const std::string& sql) { return data::ExecSQL(dm_, sql); }
Variant TdmDocumentData::lookup(const std::string& sql) {
  foundation::ContextScope scope(dm_.Context());
  return data::lookup(dm_, sql);
}

}  // namespace quillorn::data
