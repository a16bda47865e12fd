// The one-statement helpers on the cache and on "MEMORY". The cache ones are
// used from handlers that must go on whatever happens, so they log and answer
// empty or false; the memory ones raise, as their statements are the add-in's own.
#include <filesystem>

#include "data/cache_store.h"
#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::data {

Variant CacheStore::cacheLookup(const std::string& SQL) {
  try {
    if (!cacheDb_.Connected()) {
      cacheDb_.FileName = CacheFileName();
      // Asking must never make a cache: only an existing file is opened.
      if (foundation::FileExists(cacheDb_.FileName)) OpenShared();
    }
    if (!cacheDb_.Connected()) return Variant();
    foundation::LogTrace("cacheLookup", SQL);
    const ResultSet result = cacheDb_.Query(SQL);
    Variant value = Variant::Null();
    if (result.columns.size() > 1) {
      platform::VariantList fields;
      for (size_t i = 0; i < result.columns.size(); ++i) {
        fields.push_back(result.rows.empty() ? Variant::Null() : result.rows[0][i]);
      }
      value = Variant(std::move(fields));
    } else if (result.columns.size() == 1 && !result.rows.empty()) {
      value = result.rows[0][0];
    }
    // The text form costs an allocation; lookups run often enough to spare it when nobody traces.
    if (foundation::CurrentContext().TraceEnabled) {
      foundation::LogTrace("cacheLookup RESULT:", MyVarToStrDef(value, "{NULL}"));
    }
    return value;
  } catch (const std::exception& e) {
    foundation::LogException(e, SQL);
    return Variant();
  }
}

bool CacheStore::cacheExecSQL(const std::string& SQL) {
  try {
    foundation::LogTrace("cacheExecSQL", SQL);
    cacheDb_.Execute(SQL);
    return true;
  } catch (const std::exception& e) {
    foundation::LogException(e, SQL);
    return false;
  }
}

Variant CacheStore::memLookup(const std::string& SQL) {
  const ResultSet result = memoryDb_.Query(SQL);
  if (result.rows.empty() || result.rows[0].empty()) return Variant::Null();
  return result.rows[0][0];
}

bool CacheStore::memExecSQL(const std::string& SQL) {
  memoryDb_.Execute(SQL);
  return true;
}

std::string MyVarToStrDef(const Variant& Value, const std::string& Default) {
  if (Value.IsNull()) return Default;
  if (Value.kind() == Variant::Kind::Array) {
    const auto& items = Value.AsArray();
    std::string out;
    for (size_t i = 0; i < items.size() && i < 2; ++i) {
      if (i > 0) out += ";";
      out += MyVarToStrDef(items[i], Default);
    }
    return out;
  }
  return Value.AsString();
}

}  // namespace quillorn::data
