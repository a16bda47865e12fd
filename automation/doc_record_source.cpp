#include "automation/doc_record_source.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace quillorn::automation {
namespace {

bool SameColumn(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::string GetCodeVal(const DocRecordSource& dm, std::string_view d_type, std::string_view code) {
  return dm.CodeLookup(d_type, code).AsString();
}

Variant MemoryDocRecordSource::DocValue(std::string_view column) const {
  if (current_doc >= docs.size())
    throw std::runtime_error("tblDoc: Cannot perform this operation on a closed dataset");
  for (const auto& [name, value] : docs[current_doc]) {
    if (SameColumn(name, column)) return value;
  }
  throw std::runtime_error("tblDoc: Field '" + std::string(column) + "' not found");
}

bool MemoryDocRecordSource::LocateDoc(std::int64_t doc_id) {
  for (std::size_t i = 0; i < docs.size(); ++i) {
    for (const auto& [name, value] : docs[i]) {
      if (SameColumn(name, "doc_id") && !value.IsEmptyOrNull() && value.AsInt64() == doc_id) {
        current_doc = i;
        return true;
      }
    }
  }
  return false;
}

Variant MemoryDocRecordSource::CodeLookup(std::string_view d_type, std::string_view code) const {
  auto it = codes.find({std::string(d_type), std::string(code)});
  return it == codes.end() ? Variant::Null() : it->second;
}

void MemoryDocRecordSource::SetCode(std::string d_type, std::string code, Variant value) {
  codes[{std::move(d_type), std::move(code)}] = std::move(value);
}

const MemoryDocRecordSource::User& MemoryDocRecordSource::FindUser(std::int32_t user_id) const {
  auto it = users.find(user_id);
  if (it == users.end()) throw std::runtime_error("tblUsers: no user " + std::to_string(user_id));
  return it->second;
}

// System actions appear under a fixed name, without a user row.
std::string MemoryDocRecordSource::GetLoginName(std::int32_t user_id) {
  return user_id == 0 ? std::string("QUILLORN") : FindUser(user_id).login;
}

std::string MemoryDocRecordSource::GetFullName(std::int32_t user_id) {
  const User& u = FindUser(user_id);
  return u.given_names + " " + u.surname;
}

std::string MemoryDocRecordSource::GetGivenName(std::int32_t user_id) {
  return FindUser(user_id).given_names;
}

std::string MemoryDocRecordSource::GetSurname(std::int32_t user_id) {
  return FindUser(user_id).surname;
}

}  // namespace quillorn::automation
