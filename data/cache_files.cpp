#include "data/cache_files.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "data/lookups.h"
#include "data/proc_name_scope.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "transport/rpc_dataset.h"
#include "transport/rpc_value.h"

namespace quillorn::data {

namespace {

using transport::TRpcValue;
using transport::TRpcValueTypes;

// The tick count moves every few milliseconds; this many tries is far beyond any
// wait for the next tick.
constexpr int kMaxTempNameTries = 1000000;

constexpr char kTemplateSourceSql[] =
    "select doc_no, source, status_date, seq, framework, file_type from docs where is_current='Y' and status='A' "
    "and doc_no=";

void WriteBlob(const std::string& FileName, const std::string& Bytes) {
  std::ofstream out(foundation::PathFromUtf8(FileName), std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("Cannot create file \"" + FileName + "\".");
  out.write(Bytes.data(), static_cast<std::streamsize>(Bytes.size()));
  if (!out) throw std::runtime_error("Cannot write file \"" + FileName + "\".");
}

// Merges the rows of a template reply into tblTemplates by DOC_NO; a null never
// overwrites what is stored.
void MergeTemplateRows(Table& templates, const transport::TRpcDataSet& set) {
  for (std::size_t r = 0; r < set.RowCount(); ++r) {
    const transport::TRpcDataRow* row = set.Row(r);
    if (row == nullptr) continue;
    try {
      if (templates.Locate("DOC_NO", row->GetVariant("DOC_NO"))) {
        templates.Edit();
      } else {
        templates.Append();
      }
      for (std::size_t c = 0; c < set.FieldCount(); ++c) {
        const std::string& name = set.FieldDef(c).Name;
        auto field = templates.FindField(name);
        if (!field || row->GetNull(name)) continue;
        field->SetValue(row->GetVariant(name));
      }
      templates.Post();
    } catch (const std::exception& e) {
      if (templates.State() != DataSetState::Browse) templates.Cancel();
      foundation::LogException(e, "ERROR on posting to " + templates.Name);
    }
  }
}

// One blocking "select" of a template's source into tblTemplates, with the
// server's timeout. A transport failure raises to the caller.
bool FetchTemplateSource(Tdm& dm, const std::string& SQL) {
  foundation::LogTrace("SERVER CALL from FetchData (WAIT FOR RESULT)", "select SQL: " + SQL);
  transport::TRpcClientModule& module = dm.Connection.ClientModule;
  module.Prepare("select").SetText("sql", SQL);
  const TRpcValue reply = module.Execute(true, dm.CurrentServerTimeout(), true);
  switch (reply.ValueType()) {
    case TRpcValueTypes::rpc_DataSet:
      MergeTemplateRows(dm.tblTemplates, reply.AsDataSet());
      dm.tblTemplates.First();
      return true;
    case TRpcValueTypes::rpc_Exception:
      foundation::LogException(nullptr, "Server-side exception after Select:\r\n" + reply.AsException().Message());
      return false;
    default:
      foundation::LogException(nullptr, "Unexpected Result after Select");
      return false;
  }
}

}  // namespace

std::string NewCacheFileName(const std::string& CacheDir, const std::string& Prefix,
                             platform::SystemServices& System) {
  for (int i = 0; i < kMaxTempNameTries; ++i) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%012X", static_cast<unsigned>(System.TickCount()));
    std::string name = CacheDir + Prefix + hex;
    if (!foundation::FileExists(name)) return name;
  }
  throw std::runtime_error("No free file name for " + CacheDir + Prefix);
}

std::string GetTemplateFile(Tdm& dm, platform::SystemServices& System, std::int32_t DocNo) {
  ProcNameScope proc("dm.GetTemplateFile");
  const std::string docNo = std::to_string(DocNo);
  Table& templates = dm.tblTemplates;
  dm.LoadFromCache(templates);
  const bool known = templates.Locate("doc_no", Variant(DocNo));
  const std::int32_t storedSeq = known ? templates.FieldByName("seq").AsInteger() : 0;

  if (dm.mIsServerReachable()) {
    bool current = false;
    const Variant stored = dm.cacheLookup("select doc_no from templates where (source is not null) and doc_no=" + docNo);
    if (!stored.IsEmptyOrNull()) {
      const Variant serverSeq =
          lookup(dm, "select seq from docs where is_current='Y' and status='A' and doc_no=" + docNo);
      current = serverSeq.IsNull() || (serverSeq.kind() != Variant::Kind::Array && serverSeq.AsInt() == storedSeq);
    }
    if (!current) FetchTemplateSource(dm, kTemplateSourceSql + docNo);
  }

  if (!templates.Locate("doc_no", Variant(DocNo))) return {};
  const Field source = templates.FieldByName("source");
  if (source.IsNull()) return {};
  const std::string name = NewCacheFileName(dm.Folders().CacheDir, "cms", System);
  WriteBlob(name, source.AsString());
  return name;
}

std::string GetLogoFile(Tdm& dm, platform::SystemServices& System) {
  ProcNameScope proc("dm.GetLogoFile");
  // The cached logo is what a reader gets at once; a fetch only lands later.
  dm.LoadFromCache(dm.tblLogo);
  dm.tblLogo.First();
  const Field logo = dm.tblLogo.FieldByName("logo");
  if (logo.IsNull()) return {};
  const std::string name = NewCacheFileName(dm.Folders().CacheDir, "logo", System);
  WriteBlob(name, {});
  dm.TempFiles.push_back(name);
  WriteBlob(name, logo.AsString());
  return name;
}

void FastFileCopy(platform::SystemServices& System, const std::string& Source, const std::string& Dest) {
  System.CopyFile(Source, Dest, false);
}

}  // namespace quillorn::data
