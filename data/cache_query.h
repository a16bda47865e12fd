// A read-only query on one of the add-in's databases, held open as a row set
// for a reader to walk, like the approvers list of the pane. Reads all rows when
// opened and never writes; a change to its tables shows only after a reopen.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "data/sql_database.h"

namespace quillorn::data {

class CacheQuery {
 public:
  // The database must outlive the query.
  CacheQuery(Database& Database, std::string SQL, std::string Name);

  std::string Name;  // the component name, used in messages and traces
  const std::string& SQL() const { return sql_; }

  // Does nothing when open already. Raises what the database raises.
  void Open();
  void Close();
  bool Active() const { return active_; }

  int RecordCount() const { return active_ ? static_cast<int>(rows_.rows.size()) : 0; }
  void First() { current_ = 0; }
  void Next() {
    if (current_ < RecordCount()) ++current_;
  }
  bool Eof() const { return current_ >= RecordCount(); }
  // The current row's value of a column (case-insensitive); Null past the end,
  // and it raises for a column that isn't there.
  Variant FieldByName(std::string_view Column) const;

 private:
  Database& database_;
  std::string sql_;
  bool active_ = false;
  ResultSet rows_;
  int current_ = 0;
};

}  // namespace quillorn::data
