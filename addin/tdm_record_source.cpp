#include "addin/tdm_record_source.h"

#include "data/cache_files.h"
#include "data/doc_readers.h"
#include "data/fetching.h"
#include "data/login.h"
#include "data/lookups.h"
#include "data/tdm.h"

namespace quillorn::addin {

using platform::Variant;

Variant TdmRecordSource::DocValue(std::string_view column) const { return dm_.tblDoc.FieldByName(column).Value(); }

bool TdmRecordSource::LocateDoc(std::int64_t doc_id) { return dm_.tblDoc.Locate("doc_id", Variant(doc_id)); }

std::vector<automation::DocFieldRow> TdmRecordSource::DocFields() const {
  data::Table& fields = dm_.tblDocFields;
  std::vector<automation::DocFieldRow> rows;
  rows.reserve(static_cast<std::size_t>(fields.RecordCount()));
  for (fields.First(); !fields.Eof(); fields.Next()) {
    rows.push_back({fields.FieldByName("CODE").AsString(), fields.FieldByName("VAL").Value()});
  }
  return rows;
}

void TdmRecordSource::OpenCodes(bool refresh) {
  data::OpenCodes(dm_, refresh ? data::Fetch::Refresh : data::Fetch::IfNeeded);
}

void TdmRecordSource::OpenUsers(bool refresh) {
  data::OpenUsers(dm_, refresh ? data::Fetch::Refresh : data::Fetch::IfNeeded);
}

Variant TdmRecordSource::CodeLookup(std::string_view d_type, std::string_view code) const {
  // As getCodeVal: what the cache holds now; a fetch this may start lands later.
  data::OpenCodes(dm_, data::Fetch::IfNeeded);
  return dm_.tblCodes.Lookup("d_type;code", Variant(platform::VariantList{Variant(d_type), Variant(code)}), "val");
}

std::string TdmRecordSource::GetLoginName(std::int32_t user_id) { return data::GetLoginName(dm_, user_id); }
std::string TdmRecordSource::GetFullName(std::int32_t user_id) { return data::GetFullName(dm_, user_id); }
std::string TdmRecordSource::GetGivenName(std::int32_t user_id) { return data::GetGivenName(dm_, user_id); }
std::string TdmRecordSource::GetSurname(std::int32_t user_id) { return data::GetSurname(dm_, user_id); }

std::string TdmRecordSource::GetTemplateFile(std::int32_t template_id) {
  return data::GetTemplateFile(dm_, system_, template_id);
}

Variant TdmRecordSource::CacheLookup(const std::string& sql) { return dm_.cacheLookup(sql); }

bool TdmRecordSource::IsServerReachable() const { return dm_.mIsServerReachable(); }

void TdmRecordSource::SetDocTemplateID(std::int32_t template_id) { data::SetDocTemplateID(dm_, template_id); }

std::string TdmRecordSource::CodeVal(std::string_view d_type, std::string_view code) {
  return data::getCodeVal(dm_, std::string(d_type), std::string(code));
}

}  // namespace quillorn::addin
