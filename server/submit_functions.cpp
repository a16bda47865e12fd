#include "server/submit_functions.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string>
#include <system_error>

#include "server/sql_dataset.h"
#include "transport/rpc_dataset.h"

namespace quillorn::server {
namespace {

using transport::TRpcValueObject;
using transport::TRpcValueTypes;

std::string Upper(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return out;
}

bool SameName(std::string_view a, std::string_view b) { return Upper(a) == Upper(b); }

// Table and field names go into statements as they stand: only plain names pass.
std::string CheckedName(std::string_view name, std::string_view what) {
  bool ok = !name.empty();
  for (const char c : name) {
    ok = ok && ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_');
  }
  if (!ok) throw StoreError("Not a valid " + std::string(what) + " name: \"" + std::string(name) + "\".");
  return std::string(name);
}

std::vector<std::string> SplitKeys(std::string_view keys) {
  std::vector<std::string> out;
  std::size_t at = 0;
  while (at <= keys.size()) {
    const std::size_t end = std::min(keys.find(';', at), keys.size());
    if (end > at) out.emplace_back(keys.substr(at, end - at));
    at = end + 1;
  }
  return out;
}

std::string Quoted(std::string_view text) {
  std::string out = "'";
  for (const char c : text) {
    out += c;
    if (c == '\'') out += '\'';
  }
  return out + "'";
}

std::string HexBlob(std::string_view bytes) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out = "X'";
  out.reserve(bytes.size() * 2 + 3);
  for (const char c : bytes) {
    const auto b = static_cast<unsigned char>(c);
    out += kHex[b >> 4];
    out += kHex[b & 15];
  }
  return out + "'";
}

std::string Number(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

// One field of the record as a column of the table.
struct Column {
  std::size_t field = 0;  // in the record's data set
  std::string name;
  bool blob = false;      // bytes go in as a blob, not as text
};

// A column the record lacks but every row of this table gets.
struct FixedColumn {
  std::string name;
  std::string literal;
};

std::string Literal(const TRpcValueObject* value, bool blob) {
  if (value == nullptr) return "NULL";
  switch (value->ValueType()) {
    case TRpcValueTypes::rpc_Null: return "NULL";
    case TRpcValueTypes::rpc_Boolean: return value->AsBoolean() ? "1" : "0";
    case TRpcValueTypes::rpc_Integer:
    case TRpcValueTypes::rpc_Cardinal:
    case TRpcValueTypes::rpc_LargeInt:
    case TRpcValueTypes::rpc_OID:
      return std::to_string(value->AsLargeInt());
    case TRpcValueTypes::rpc_Float:
    case TRpcValueTypes::rpc_DateTime:  // days since 1899-12-30, as the store keeps dates
      return Number(value->AsFloat());
    case TRpcValueTypes::rpc_Currency: {
      const std::int64_t scaled = value->AsCurrency();
      const std::uint64_t magnitude = scaled < 0 ? 0 - static_cast<std::uint64_t>(scaled) : scaled;
      char text[40];
      std::snprintf(text, sizeof text, "%s%" PRIu64 ".%04" PRIu64, scaled < 0 ? "-" : "",
                    magnitude / transport::kCurrencyScale, magnitude % transport::kCurrencyScale);
      return text;
    }
    case TRpcValueTypes::rpc_Text:
    case TRpcValueTypes::rpc_String:
    case TRpcValueTypes::rpc_WideString:
    case TRpcValueTypes::rpc_ByteStream:
    case TRpcValueTypes::rpc_ByteArray:
      return blob ? HexBlob(value->AsBytes()) : Quoted(value->AsBytes());
    default:
      throw StoreError("A value of type " + std::string(transport::TypeName(value->ValueType())) +
                       " cannot be stored in a table.");
  }
}

class RecordApplier {
 public:
  RecordApplier(ServerStore& store, std::string_view table, std::string_view keyFields,
                const transport::TRpcDataSet& rows)
      : store_(store), table_(CheckedName(table, "table")), rows_(rows) {
    const StoreRows shape = store_.Select("SELECT * FROM " + table_ + " LIMIT 0");
    auto columnOf = [&](std::string_view name) -> const StoreColumn* {
      for (const StoreColumn& c : shape.Columns) {
        if (SameName(c.Name, name)) return &c;
      }
      return nullptr;
    };
    for (std::size_t i = 0; i < rows_.FieldCount(); ++i) {
      const StoreColumn* column = columnOf(rows_.FieldDef(i).Name);
      if (column == nullptr) continue;
      columns_.push_back({i, CheckedName(column->Name, "field"),
                          FieldForDeclType(column->DeclType).Type == transport::TRpcFieldTypes::ft_Blob});
    }
    // The document fields the client keeps in DOCFIELDS are the server's
    // "DOC_FIELD" codes.
    if (SameName(table_, "CODES") && rows_.FindField("D_TYPE") < 0 && columnOf("D_TYPE") != nullptr) {
      fixed_.push_back({"D_TYPE", "'DOC_FIELD'"});
    }
    for (const std::string& key : SplitKeys(keyFields)) {
      const Column* found = nullptr;
      for (const Column& c : columns_) {
        if (SameName(c.name, key)) found = &c;
      }
      if (found == nullptr) throw StoreError("The key field " + key + " is not a field of " + table_ + ".");
      keys_.push_back(*found);
    }
  }

  ApplyCounts Apply(const transport::TRpcArray& actions) {
    ApplyCounts counts;
    std::size_t next = 0;
    auto take = [&]() -> const transport::TRpcDataRow* {
      if (next >= rows_.RowCount()) throw StoreError("The change record holds fewer rows than its actions use.");
      return rows_.Row(next++);
    };
    for (std::size_t i = 0; i < actions.Count(); ++i) {
      switch (actions[i].AsInteger()) {
        case kActionInsert: {
          const auto* row = take();
          if (keys_.empty() || Update(row, Where(row, keys_)) == 0) Insert(row);
          ++counts.Inserted;
          break;
        }
        case kActionUpdate: {
          const auto* before = take();
          const auto* after = take();
          if (Update(after, Where(before, Matching())) == 0) Insert(after);
          ++counts.Updated;
          break;
        }
        case kActionDelete:
          store_.Execute("DELETE FROM " + table_ + Where(take(), Matching()));
          ++counts.Deleted;
          break;
        default:
          throw StoreError("Unknown action " + actions[i].AsString() + " in the change record.");
      }
    }
    return counts;
  }

 private:
  const std::vector<Column>& Matching() const { return keys_.empty() ? columns_ : keys_; }

  static const TRpcValueObject* ValueOf(const transport::TRpcDataRow* row, const std::string& field) {
    return row == nullptr ? nullptr : row->Find(field);
  }

  // Without keys a row is one of possibly equal rows: only one of them is hit.
  std::string Where(const transport::TRpcDataRow* row, const std::vector<Column>& by) const {
    std::string condition;
    for (const Column& c : by) {
      const TRpcValueObject* value = ValueOf(row, rows_.FieldDef(c.field).Name);
      if (!condition.empty()) condition += " AND ";
      condition += value == nullptr || value->ValueType() == TRpcValueTypes::rpc_Null
                       ? c.name + " IS NULL"
                       : c.name + "=" + Literal(value, c.blob);
    }
    for (const FixedColumn& f : fixed_) {
      if (!condition.empty()) condition += " AND ";
      condition += f.name + "=" + f.literal;
    }
    if (condition.empty()) throw StoreError("The change record has no field of " + table_ + " to find a row by.");
    if (!keys_.empty()) return " WHERE " + condition;
    return " WHERE rowid IN (SELECT rowid FROM " + table_ + " WHERE " + condition + " LIMIT 1)";
  }

  int Update(const transport::TRpcDataRow* row, const std::string& where) {
    std::string set;
    for (const Column& c : columns_) {
      if (!set.empty()) set += ", ";
      set += c.name + "=" + Literal(ValueOf(row, rows_.FieldDef(c.field).Name), c.blob);
    }
    if (set.empty()) return 1;  // nothing of this table changed
    return store_.Execute("UPDATE " + table_ + " SET " + set + where);
  }

  void Insert(const transport::TRpcDataRow* row) {
    std::string names, values;
    for (const Column& c : columns_) {
      const TRpcValueObject* value = ValueOf(row, rows_.FieldDef(c.field).Name);
      if (value == nullptr) continue;  // the column's default stands
      names += (names.empty() ? "" : ", ") + c.name;
      values += (values.empty() ? "" : ", ") + Literal(value, c.blob);
    }
    for (const FixedColumn& f : fixed_) {
      names += (names.empty() ? "" : ", ") + f.name;
      values += (values.empty() ? "" : ", ") + f.literal;
    }
    store_.Execute(names.empty() ? "INSERT INTO " + table_ + " DEFAULT VALUES"
                                 : "INSERT INTO " + table_ + " (" + names + ") VALUES (" + values + ")");
  }

  ServerStore& store_;
  std::string table_;
  const transport::TRpcDataSet& rows_;
  std::vector<Column> columns_;
  std::vector<Column> keys_;
  std::vector<FixedColumn> fixed_;
};

std::string RequiredText(const transport::TRpcRecord& params, std::string_view name) {
  if (params.Find(name) == nullptr) throw StoreError("The parameter " + std::string(name) + " is missing.");
  return params.GetString(name);
}

}  // namespace

ApplyCounts ApplyChangeRecord(ServerStore& store, std::string_view table, std::string_view keyFields,
                              const TRpcValueObject* change) {
  if (change == nullptr || change->ValueType() == TRpcValueTypes::rpc_Null) return {};
  const auto* record = dynamic_cast<const transport::TRpcArray*>(change);
  if (record == nullptr || record->Count() != 2 || (*record)[0].ValueType() != TRpcValueTypes::rpc_Array ||
      (*record)[1].ValueType() != TRpcValueTypes::rpc_DataSet) {
    throw StoreError("change_data is not a change record.");
  }
  RecordApplier applier(store, table, keyFields, (*record)[1].AsDataSet());
  return applier.Apply((*record)[0].AsArray());
}

std::filesystem::path SentFilePath(const std::filesystem::path& dataFolder, std::int32_t docId) {
  return dataFolder / kFilesFolder / std::to_string(docId);
}

std::vector<std::pair<std::string, RpcFunction>> SubmitFunctions(ServerStore& store, SqlPolicy policy) {
  std::vector<std::pair<std::string, RpcFunction>> functions;
  functions.emplace_back("submit", [&store, policy](const transport::TRpcRecord& params) {
    const std::string table = RequiredText(params, "table");
    CheckSubmitTable(policy, table);
    const std::string logname = params.GetString("logname");
    ApplyChangeRecord(store, table, params.GetString("keyfields"), params.Find("change_data"));
    // The log name tells the client which delta it may forget.
    return logname.empty() ? transport::BooleanValue(true) : transport::TextValue(logname);
  });
  functions.emplace_back("sendfile", [&store](const transport::TRpcRecord& params) {
    const std::int32_t docId = params.GetInteger("doc_id");
    if (params.Find("file") == nullptr) throw StoreError("The parameter file is missing.");
    const std::string bytes = params.Find("file")->AsBytes();
    const std::filesystem::path target = SentFilePath(store.FileName().parent_path(), docId);
    std::error_code ec;
    std::filesystem::create_directories(target.parent_path(), ec);
    // Written beside and renamed, so that a reader never sees half a document.
    std::filesystem::path partial = target;
    partial += ".part";
    {
      std::ofstream out(partial, std::ios::binary | std::ios::trunc);
      out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
      out.close();
      if (!out) throw StoreError("Cannot write the file of document " + std::to_string(docId) + ".");
    }
    std::filesystem::rename(partial, target, ec);
    if (ec) throw StoreError("Cannot store the file of document " + std::to_string(docId) + ": " + ec.message());
    return transport::IntegerValue(docId);
  });
  return functions;
}

void RegisterSubmitFunctions(FunctionTable& table, ServerStore& store, SqlPolicy policy) {
  for (auto& [name, function] : SubmitFunctions(store, policy)) table.Register(name, std::move(function));
}

}  // namespace quillorn::server
