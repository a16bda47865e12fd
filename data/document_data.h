// The data module as the document routines see it, in two narrow parts: the
// records (the tracking tables with their typed rows, the user, and the
// hand-over of changes to the commit) and the fetcher (the Open... routines,
// which know which sets are live, and the server's state). The data module
// implements both (data/tdm_document_data.h); the routines never reach the
// rest of it: settings, connection internals, monitors and other tables.
#pragma once

#include <string>

#include "data/fetching.h"
#include "data/records.h"
#include "data/table.h"
#include "foundation/context.h"
#include "platform/prompts.h"

namespace quillorn::data {

class DocumentRecords {
 public:
  virtual ~DocumentRecords() = default;

  // The log context every routine of this add-in instance runs in.
  virtual foundation::LogContext& Context() = 0;

  // tblFiles stands on the active document's row, by convention; tblDoc on
  // its record.
  virtual Table& tblFiles() = 0;
  virtual Table& tblDoc() = 0;
  virtual Table& tblPublishedDocs() = 0;
  FilesRecord Files() { return FilesRecord::Of(tblFiles()); }
  DocRecord Doc() { return DocRecord::Of(tblDoc()); }

  // The user documents are handled for: the FILES row's, or who logged in.
  virtual int UserID() const = 0;
  virtual void SetUserID(int userId) = 0;
  // The login dialog; its answer becomes the UserID: the user, -1 for a login
  // nobody could verify, 0 when cancelled.
  virtual int PromptUserForLogin(platform::Prompts& prompts, int officeVersion) = 0;

  // One statement on the cache; false when the cache refused it (logged).
  virtual bool cacheExecSQL(const std::string& sql) = 0;
  // The first field of the first row the cache answers; Null for none.
  virtual Variant cacheLookup(const std::string& sql) = 0;
  // Where copies taken out of the system go in cloud mode (the settings').
  virtual std::string CloudExportFolder() const = 0;

  // The record's changes, the file and the published forms handed to the
  // commit: sent now while a server answers, kept as deltas while not.
  virtual void SaveDocData() = 0;
  virtual void SaveDocument() = 0;
  virtual void SavePublishedDocs() = 0;
  virtual void SaveWebFormData() = 0;
};

class DataFetcher {
 public:
  virtual ~DataFetcher() = default;

  virtual void OpenFiles() = 0;
  virtual void OpenPublishedDocs() = 0;
  virtual void OpenDocFields(Fetch how) = 0;
  virtual void OpenUsers(Fetch how) = 0;
  virtual void OpenGroups(Fetch how) = 0;
  virtual void OpenUserGroupLinks(Fetch how) = 0;
  virtual void OpenCodes(Fetch how) = 0;
  virtual void OpenLogo(Fetch how) = 0;
  virtual void OpenTemplates(Fetch how) = 0;
  virtual bool OpenDoc(int docId, Fetch how, Wait waiting) = 0;
  virtual bool OpenDocPermissions(int docId, int userId, Fetch how, Wait waiting) = 0;
  virtual bool DocPermissionsIsCached(int docId, int userId) = 0;
  virtual bool OpenWebForm(int docNo, Fetch how, Wait waiting) = 0;
  // The organisation's logo as a file of its own ("" without one); fetched
  // first when the logo is not live.
  virtual std::string GetLogoFile() = 0;

  virtual bool mIsServerReachable() const = 0;
  // A ping; waiting, the answer decides mIsServerReachable before this returns.
  virtual void ConnectToServer(Wait waiting) = 0;
  // True when the remote calls under way finished within the settings' retry
  // time-out.
  virtual bool WaitForCompletion() = 0;
  // One statement run on the server; true only for the server's true.
  virtual bool ExecSQL(const std::string& sql) = 0;
  // One question to the server, blocking: the first field of the first row,
  // Null for none, 0 when the server answered with an exception (logged).
  virtual Variant lookup(const std::string& sql) = 0;
};

}  // namespace quillorn::data
