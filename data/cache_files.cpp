#include "data/cache_files.h"

#include <cstdio>
#include <stdexcept>
#include <string>

#include "data/fetching.h"
#include "data/lookups.h"
#include "data/proc_name_scope.h"
#include "data/remote_catalogue.h"
#include "foundation/context.h"
#include "foundation/paths.h"

namespace quillorn::data {

namespace {

// The tick count moves every few milliseconds; this many tries is far beyond any
// wait for the next tick.
constexpr int kMaxTempNameTries = 1000000;

void WriteBlob(platform::SystemServices& System, const std::string& FileName, const std::string& Bytes) {
  if (!System.WriteFile(FileName, Bytes)) {
    System.DeleteFile(FileName);
    throw std::runtime_error("Cannot create file \"" + FileName + "\".");
  }
}

}  // namespace

std::string NewCacheFileName(const std::string& CacheDir, const std::string& Prefix,
                             platform::SystemServices& System) {
  for (int i = 0; i < kMaxTempNameTries; ++i) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%012X", static_cast<unsigned>(System.TickCount()));
    std::string name = CacheDir + Prefix + hex;
    if (!System.FileExists(name)) return name;
  }
  throw std::runtime_error("No free file name for " + CacheDir + Prefix);
}

std::string GetTemplateFile(Tdm& dm, platform::SystemServices& System, std::int32_t DocNo) {
  foundation::ContextScope scope(dm.Context());
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
    if (!current) FetchData(dm, templates, TemplateSourceSql(DocNo), dm.Results.TemplatesResult, nullptr, Wait::ForAnswer);
  }

  if (!templates.Locate("doc_no", Variant(DocNo))) return {};
  const Field source = templates.FieldByName("source");
  if (source.IsNull()) return {};
  const std::string name = NewCacheFileName(dm.Folders().CacheDir, "cms", System);
  WriteBlob(System, name, source.AsString());
  return name;
}

std::string GetLogoFile(Tdm& dm, platform::SystemServices& System) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.GetLogoFile");
  // A fetch that this starts lands later: the file is made of what the cache holds now.
  OpenLogo(dm, dm.Live.mLogoLive ? Fetch::IfNeeded : Fetch::Refresh);
  dm.tblLogo.First();
  const Field logo = dm.tblLogo.FieldByName("logo");
  if (logo.IsNull()) return {};
  const std::string name = NewCacheFileName(dm.Folders().CacheDir, "logo", System);
  WriteBlob(System, name, {});
  dm.TempFiles.push_back(name);
  WriteBlob(System, name, logo.AsString());
  return name;
}

void FastFileCopy(platform::SystemServices& System, const std::string& Source, const std::string& Dest) {
  System.ShellCopyFile(Source, Dest);
}

}  // namespace quillorn::data
