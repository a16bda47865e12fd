// Change capture: the monitors on the table objects whose changes go to the
// server, and the delta files (TABLE.NNN in the cache folder, each with its
// CACHELOG row) that hold a change until it is submitted. Never talks to the
// server itself and never drops a change it could not write down: a change
// leaves its monitor only once its file and log row are there.
#pragma once

#include <string>
#include <vector>

#include "data/monitored_table.h"
#include "platform/system_services.h"
#include "transport/dataset_monitor.h"

namespace quillorn::data {

class Tdm;

// The delta files of one table in the cache folder, without the folder, in the
// order they were written ("DOCS.000" before "DOCS.001"). Case does not count,
// as on the file system the cache lives on at home.
std::vector<std::string> CacheFilesOf(platform::SystemServices& System, const std::string& CacheDir,
                                      const std::string& TableName);

// The next free name: TableName.000 for the first, else one past the last in
// sorted order. Raises when the last name does not end in three digits.
std::string GetNextCacheFileName(platform::SystemServices& System, const std::string& CacheDir,
                                 const std::string& TableName);

class ChangeCapture {
 public:
  // The monitors are attached and active from here on; `dm`'s tables must
  // outlive this object.
  explicit ChangeCapture(Tdm& dm);
  ~ChangeCapture();
  ChangeCapture(const ChangeCapture&) = delete;
  ChangeCapture& operator=(const ChangeCapture&) = delete;

  // Writes what the monitor recorded as the next delta of TableName, and logs
  // it in CACHELOG for the current user. Nothing pending: nothing written. The
  // monitor lets go of the change only once its file is whole and its row
  // written; when either fails, the part of a file is removed, the failure is
  // logged, and the change waits in the monitor for the next save.
  void SaveToCache(const std::string& TableName, transport::TRpcDataSetMonitor* Monitor);
  // SaveToCache, and when the server answers, the commit of that table.
  void SaveData(const std::string& TableName, transport::TRpcDataSetMonitor* Monitor, const std::string& KeyFields);

  void SaveDocData();
  void SavePublishedDocs();
  void SaveWebFormData();
  // The document fields are rows of CODES on the server: they go under that name.
  void SaveDocFields();
  // Not SavePublishedDocs: the save pipeline calls that on its own.
  void SaveAllData();

 private:
  // The adapters come first, so that the monitors let go of them before they go.
  Tdm& dm_;
  MonitoredTable docTable_;
  MonitoredTable docFieldsTable_;
  MonitoredTable usersTable_;
  MonitoredTable codesTable_;
  MonitoredTable webFormTable_;
  MonitoredTable publishedDocsTable_;

 public:
  transport::TRpcDataSetMonitor monDoc;
  transport::TRpcDataSetMonitor monDocFields;
  transport::TRpcDataSetMonitor monUsers;
  transport::TRpcDataSetMonitor monCodes;
  transport::TRpcDataSetMonitor monWebForm;
  transport::TRpcDataSetMonitor monPublishedDocs;
};

}  // namespace quillorn::data
