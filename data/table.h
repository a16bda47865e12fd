// The cursor every table object of the data module is: the rows of one table of
// a database in index order, a current row, locate, edit/insert/post/cancel/
// delete with their before/after events, refresh and resync. Reads the whole
// table on open and writes each change through at once as one statement; it
// never keeps a statement or a transaction open, since other processes write too.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "data/sql_database.h"

namespace quillorn::data {

class DataSetError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class DataSetState { Inactive, Browse, Edit, Insert };

// What happened to a table, for whoever watches it besides its own handlers.
enum class TableEvent {
  AfterOpen,
  BeforeClose,
  BeforeInsert,
  AfterInsert,
  BeforeEdit,
  AfterEdit,
  BeforePost,
  AfterPost,
  BeforeCancel,
  AfterCancel,
  BeforeDelete,
  AfterDelete,
  AfterScroll,
};

struct LocateOptions {
  bool caseInsensitive = false;
  bool partialKey = false;  // a text field matches when it begins with the value
};

struct FieldDef {
  std::string name;
  std::string declType;
  FieldKind kind = FieldKind::Unknown;
  int size = 0;          // the n of VARCHAR(n), 0 when not given
  int keyPosition = 0;   // 1-based place in the primary key, 0 when not in it
  bool required = false; // NOT NULL
  Variant defaultValue;  // a literal default of the column; Null otherwise
  bool calculated = false;  // worked out from the row when read; no column
};

class Table;

// One field of the current row (or of the row being edited or inserted).
class Field {
 public:
  Field(Table& table, int index) : table_(&table), index_(index) {}

  const std::string& FieldName() const;
  FieldKind DataType() const;
  int Index() const { return index_; }

  Variant Value() const;      // Null for a null field or an empty table
  Variant OldValue() const;   // the value before the edit began
  bool IsNull() const;
  std::string AsString() const;  // "" for null
  std::int32_t AsInteger() const;  // 0 for null
  std::int64_t AsLargeInt() const;
  double AsFloat() const;
  bool AsBoolean() const;      // false for null
  double AsDateTime() const;   // days since 1899-12-30, 0 for null

  // All raise unless the table is in edit or insert state.
  void SetValue(const Variant& value);
  Field& operator=(const Variant& value) {
    SetValue(value);
    return *this;
  }
  void Clear() { SetValue(Variant::Null()); }

 private:
  Table* table_;
  int index_;
};

class TableObserver {
 public:
  virtual ~TableObserver() = default;
  virtual void OnTableEvent(Table& table, TableEvent event) = 0;
};

class Table {
 public:
  using Handler = std::function<void(Table&)>;
  // Works out a calculated field's value from the table's current row.
  using Calculation = std::function<Variant(Table&)>;

  // IndexFieldNames ("DOC_ID;USER_ID") is the sort order that Locate and the
  // key matching work in; empty keeps the order rows were added in.
  Table(Database& database, std::string TableName, std::string IndexFieldNames = {}, std::string Name = {});
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  std::string Name;  // the component name, used in messages and traces
  Database& database() const { return *database_; }
  const std::string& TableName() const { return tableName_; }
  const std::string& IndexFieldNames() const { return indexFieldNames_; }

  void Open();
  void Close();  // pending edits are dropped, as closing never posts
  bool Active() const { return state_ != DataSetState::Inactive; }
  DataSetState State() const { return state_; }

  // Re-reads all rows and stays on the current row, found again by its key.
  void Refresh();
  // Re-reads the current row only; falls back to Refresh when it has gone.
  void Resync();

  void First();
  void Next();
  void Prior();
  void Last();
  bool Eof() const { return eof_; }
  bool Bof() const { return bof_; }
  int RecordCount() const;
  int RecNo() const;  // 1-based; 0 when there is no current row
  bool IsEmpty() const { return RecordCount() == 0; }

  // A field that no column holds: its value is worked out from the current row
  // each time it is read, so it follows the row's other fields at once. It
  // comes after the columns, is never written, never a key or a locate field,
  // and a change monitor does not record it. Kept over Close and Open.
  void AddCalculatedField(std::string FieldName, FieldKind Kind, int Size, Calculation Calculate);

  // The columns, then the calculated fields.
  const std::vector<FieldDef>& FieldDefs() const { return fields_; }
  int FieldCount() const { return static_cast<int>(fields_.size()); }
  Field Fields(int index);
  Field FieldByName(std::string_view name);  // case-insensitive; raises when missing
  std::optional<Field> FindField(std::string_view name);
  std::vector<std::string> KeyFieldNames() const;  // the primary key, in key order

  // KeyFields "a;b" with KeyValues an array in the same order (a scalar for one
  // field). Moves to the first matching row in index order; stays put otherwise.
  // As a cursor of a shared database it sees rows other processes committed:
  // when nothing matches and the database moved since the rows were read, they
  // are read again and the search repeated once.
  bool Locate(std::string_view KeyFields, const Variant& KeyValues, LocateOptions Options = {});
  // The same search without moving: the value of ResultFields (an array for
  // several), Null when no row matches.
  Variant Lookup(std::string_view KeyFields, const Variant& KeyValues, std::string_view ResultFields);

  void Edit();    // on an empty table this is Insert
  void Insert();  // the new row goes before the current one until posted
  void Append();
  void Post();    // UPDATE by primary key (rowid without one) or INSERT
  void Cancel();
  void Delete();
  bool Modified() const;
  void CheckBrowseMode();  // posts a changed row, cancels an unchanged one
  bool Editing() const { return state_ == DataSetState::Edit || state_ == DataSetState::Insert; }
  void EnsureEditing();  // Edit, unless the row is being edited or inserted already
  void PostIfEditing();  // Post, when the row is being edited or inserted
  void CancelIfEditing();

  // A flag of the current row: a BOOLEAN column's true, a number other than 0,
  // or the text "Y" (the CHAR(1) flags); false for null. Raises for a missing column.
  bool Flag(std::string_view name);

  void DisableControls() { ++controlsDisabled_; }
  void EnableControls() {
    if (controlsDisabled_ > 0) --controlsDisabled_;
  }
  bool ControlsDisabled() const { return controlsDisabled_ > 0; }

  Handler AfterOpen, BeforeClose, AfterClose;
  Handler BeforeInsert, AfterInsert, BeforeEdit, AfterEdit, BeforePost, AfterPost;
  Handler BeforeCancel, AfterCancel, BeforeDelete, AfterDelete, AfterScroll;

  // Observers hear every event before the table's own handler for it, as a
  // change monitor put in front of the handler does: a handler that switches
  // the monitor on or off takes effect from the next event, not this one.
  void AddObserver(TableObserver* observer);
  void RemoveObserver(TableObserver* observer);

 private:
  friend class Field;
  struct Row {
    std::int64_t rowid = 0;
    std::vector<Variant> values;
  };

  void CheckActive() const;
  int FieldIndex(std::string_view name) const;
  std::vector<int> FieldIndexes(std::string_view names) const;
  std::vector<int> StoredFieldIndexes(std::string_view names) const;  // raises for a calculated one
  bool IsCalculated(int index) const { return index >= storedCount_; }
  Variant CalculatedValue(int index);
  const std::vector<Variant>* CurrentValues() const;
  void SetFieldValue(int index, const Variant& value);
  void Fire(const Handler& handler, TableEvent event);
  void Scrolled();
  // Another connection committed, or this one changed rows, since the rows were read.
  bool ChangedSinceRead();
  // A write of this table's own keeps its rows current; it is no change since
  // the read, unless something else changed before it.
  void KeepReadStampAcross(std::int64_t changesBefore);

  void ReadFieldDefs();
  std::string SelectSql() const;
  Row ToRow(std::vector<Variant>& raw) const;
  std::vector<Row> ReadRows(const std::string& whereSql, std::span<const Variant> params) const;
  std::string KeyWhere(std::vector<Variant>& params, const Row& row) const;
  bool SameRow(const Row& a, const Row& b) const;
  int FindRowIndex(const Row& like) const;
  bool SortsBefore(const Row& a, const Row& b) const;
  int PlaceRow(Row row, int fallbackIndex);  // puts a written row where the order wants it
  int FindSorted(int field, const Variant& wanted) const;
  int FindMatch(const std::vector<int>& fields, const std::vector<Variant>& values, const LocateOptions& options) const;

  Database* database_;
  std::string tableName_;
  std::string indexFieldNames_;
  std::vector<FieldDef> fields_;
  int storedCount_ = 0;  // the columns: rows and edit buffers hold this many values
  std::vector<std::pair<FieldDef, Calculation>> calculations_;
  std::vector<int> sortFields_;
  std::vector<int> keyFields_;  // primary key in key order; empty: rows are found by rowid

  DataSetState state_ = DataSetState::Inactive;
  // Where the database stood when the rows were read.
  std::optional<Database::ChangeStamp> readStamp_;
  std::vector<Row> rows_;
  int current_ = -1;
  bool eof_ = true;
  bool bof_ = true;

  std::vector<Variant> buffer_;  // the row being edited or inserted
  std::vector<bool> changed_;
  bool appending_ = false;
  int controlsDisabled_ = 0;
  std::vector<TableObserver*> observers_;
};

}  // namespace quillorn::data
