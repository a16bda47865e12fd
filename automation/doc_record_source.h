// What the document-field and template routines read of the data module: the
// current document record, its field list, code values, user names and template
// files. The data module implements it; nothing here reaches a database itself.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/variant.h"

namespace quillorn::automation {

using platform::Variant;

// One row of tblDocFields.
struct DocFieldRow {
  std::string CODE;
  Variant VAL;  // Null when the field has no value
};

class DocRecordSource {
 public:
  virtual ~DocRecordSource() = default;

  // tblDoc: a column of the row the table stands on, by name (case-insensitive).
  // Null for a null column; raises for a column the table doesn't have.
  virtual Variant DocValue(std::string_view column) const = 0;
  // Moves tblDoc to the row with this doc_id; false when there is none, and the
  // table then stays where it was.
  virtual bool LocateDoc(std::int64_t doc_id) = 0;

  // tblDocFields, first row to last.
  virtual std::vector<DocFieldRow> DocFields() const = 0;

  // Opens the code and user tables without a refresh when they are open already.
  virtual void OpenCodes(bool refresh) = 0;
  virtual void OpenUsers(bool refresh) = 0;
  // tblCodes by (D_TYPE, CODE): the VAL, or Null when there is no such row.
  virtual Variant CodeLookup(std::string_view d_type, std::string_view code) const = 0;

  // The four readers of tblUsers; each may raise as the data module's do.
  virtual std::string GetLoginName(std::int32_t user_id) = 0;
  virtual std::string GetFullName(std::int32_t user_id) = 0;
  virtual std::string GetGivenName(std::int32_t user_id) = 0;
  virtual std::string GetSurname(std::int32_t user_id) = 0;
};

// getCodeVal: a code's value as text, the empty text for a missing row or a null.
std::string GetCodeVal(const DocRecordSource& dm, std::string_view d_type, std::string_view code);

// What the template command needs of the data module beyond the record.
class TemplateSource {
 public:
  virtual ~TemplateSource() = default;
  // A local copy of the template as a file, the empty text when there is none.
  virtual std::string GetTemplateFile(std::int32_t template_id) = 0;
  // cacheLookup: one statement on the cache, its first field of the first row,
  // Null when there is no row.
  virtual Variant CacheLookup(const std::string& sql) = 0;
  virtual bool IsServerReachable() const = 0;
  virtual void SetDocTemplateID(std::int32_t template_id) = 0;
  // getCodeVal as above, for the template settings.
  virtual std::string CodeVal(std::string_view d_type, std::string_view code) = 0;
};

// An in-memory record source: what the tests and the simulator use until the
// data module is wired in. Users are (login, given names, surname) by id.
class MemoryDocRecordSource : public DocRecordSource {
 public:
  struct User {
    std::string login;
    std::string given_names;
    std::string surname;
  };

  // Rows of tblDoc by column name; the first row is current at the start.
  std::vector<std::map<std::string, Variant>> docs;
  std::size_t current_doc = 0;
  std::vector<DocFieldRow> fields;
  std::map<std::pair<std::string, std::string>, Variant> codes;
  std::map<std::int32_t, User> users;
  int open_codes_calls = 0;
  int open_users_calls = 0;

  Variant DocValue(std::string_view column) const override;
  bool LocateDoc(std::int64_t doc_id) override;
  std::vector<DocFieldRow> DocFields() const override { return fields; }
  void OpenCodes(bool) override { ++open_codes_calls; }
  void OpenUsers(bool) override { ++open_users_calls; }
  Variant CodeLookup(std::string_view d_type, std::string_view code) const override;
  std::string GetLoginName(std::int32_t user_id) override;
  std::string GetFullName(std::int32_t user_id) override;
  std::string GetGivenName(std::int32_t user_id) override;
  std::string GetSurname(std::int32_t user_id) override;

  void SetCode(std::string d_type, std::string code, Variant value);

 private:
  const User& FindUser(std::int32_t user_id) const;
};

}  // namespace quillorn::automation
