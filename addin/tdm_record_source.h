// The data module as the field and template routines read it: the current
// tblDoc row, the field list, codes, user names and template files of one
// add-in instance's Tdm. Adds no rules of its own: each call is the data
// module's routine of that name, raising where that routine raises.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "automation/doc_record_source.h"
#include "platform/system_services.h"
#include "platform/variant.h"

namespace quillorn::data {
class Tdm;
}

namespace quillorn::addin {

class TdmRecordSource final : public automation::DocRecordSource, public automation::TemplateSource {
 public:
  // Both must outlive the source; System names the files taken out of the cache.
  TdmRecordSource(data::Tdm& dm, platform::SystemServices& System) : dm_(dm), system_(System) {}

  // DocRecordSource
  platform::Variant DocValue(std::string_view column) const override;
  bool LocateDoc(std::int64_t doc_id) override;
  std::vector<automation::DocFieldRow> DocFields() const override;
  void OpenCodes(bool refresh) override;
  void OpenUsers(bool refresh) override;
  platform::Variant CodeLookup(std::string_view d_type, std::string_view code) const override;
  std::string GetLoginName(std::int32_t user_id) override;
  std::string GetFullName(std::int32_t user_id) override;
  std::string GetGivenName(std::int32_t user_id) override;
  std::string GetSurname(std::int32_t user_id) override;

  // TemplateSource
  std::string GetTemplateFile(std::int32_t template_id) override;
  platform::Variant CacheLookup(const std::string& sql) override;
  bool IsServerReachable() const override;
  void SetDocTemplateID(std::int32_t template_id) override;
  std::string CodeVal(std::string_view d_type, std::string_view code) override;

 private:
  data::Tdm& dm_;
  platform::SystemServices& system_;
};

}  // namespace quillorn::addin
