#include "data/table.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace quillorn::data {
namespace {

using K = Variant::Kind;

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

std::string Quote(std::string_view name) {
  std::string out = "\"";
  for (char c : name) {
    out += c;
    if (c == '"') out += '"';
  }
  return out + "\"";
}

std::string Trim(std::string_view s) {
  size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return std::string(s.substr(b, e - b));
}

std::vector<std::string> SplitNames(std::string_view names) {
  std::vector<std::string> out;
  size_t start = 0;
  while (start <= names.size()) {
    size_t end = names.find(';', start);
    if (end == std::string_view::npos) end = names.size();
    std::string name = Trim(names.substr(start, end - start));
    if (!name.empty()) out.push_back(std::move(name));
    start = end + 1;
  }
  return out;
}

bool IsNumeric(const Variant& v) {
  const K k = v.kind();
  return k == K::Bool || k == K::Int32 || k == K::Int64 || k == K::Double || k == K::DateTime;
}

// Flags count as 1 and 0 here, as they are stored, not as the host's -1.
double Number(const Variant& v) {
  if (v.kind() == K::Bool) return v.AsBool() ? 1 : 0;
  return v.AsDouble();
}

// The order SQLite sorts in with its default collation: nulls, numbers, text.
int CompareStored(const Variant& a, const Variant& b) {
  auto rank = [](const Variant& v) { return v.IsEmptyOrNull() ? 0 : IsNumeric(v) ? 1 : 2; };
  const int ra = rank(a), rb = rank(b);
  if (ra != rb) return ra < rb ? -1 : 1;
  if (ra == 0) return 0;
  if (ra == 1) {
    const double x = Number(a), y = Number(b);
    return x < y ? -1 : x > y ? 1 : 0;
  }
  const int c = a.AsString().compare(b.AsString());
  return c < 0 ? -1 : c > 0 ? 1 : 0;
}

bool Matches(const Variant& field, const Variant& wanted, const LocateOptions& options) {
  if (wanted.IsEmptyOrNull()) return field.IsEmptyOrNull();
  if (field.IsEmptyOrNull()) return false;
  if (IsNumeric(field) && !options.partialKey) {
    double w = 0;
    try {
      w = Number(wanted);
    } catch (const std::exception&) {
      return false;
    }
    return Number(field) == w;
  }
  std::string f = field.AsString();
  std::string w = wanted.AsString();
  if (options.caseInsensitive) {
    f = Lower(f);
    w = Lower(w);
  }
  if (options.partialKey) return f.compare(0, w.size(), w) == 0;
  return f == w;
}

int SizeOfDeclType(std::string_view decl) {
  const size_t open = decl.find('(');
  if (open == std::string_view::npos) return 0;
  return std::atoi(std::string(decl.substr(open + 1)).c_str());
}

// Only plain literals become a value in a new row; the database applies any
// other default itself when the row is written.
Variant ParseDefault(const Variant& dflt, FieldKind kind) {
  if (dflt.kind() != K::Text) return Variant::Null();
  const std::string text = Trim(dflt.AsString());
  if (EqualsNoCase(text, "false")) return ValueForKind(kind, Variant(std::int32_t{0}));
  if (EqualsNoCase(text, "true")) return ValueForKind(kind, Variant(std::int32_t{1}));
  if (text.size() >= 2 && text.front() == '\'' && text.back() == '\'') {
    std::string inner;
    for (size_t i = 1; i + 1 < text.size(); ++i) {
      inner += text[i];
      if (text[i] == '\'' && text[i + 1] == '\'') ++i;
    }
    return Variant(inner);
  }
  char* end = nullptr;
  const long long n = std::strtoll(text.c_str(), &end, 10);
  if (!text.empty() && end && *end == '\0') return ValueForKind(kind, Variant(static_cast<std::int64_t>(n)));
  return Variant::Null();
}

}  // namespace

// ---- Field ---------------------------------------------------------------

const std::string& Field::FieldName() const { return table_->fields_[static_cast<size_t>(index_)].name; }

FieldKind Field::DataType() const { return table_->fields_[static_cast<size_t>(index_)].kind; }

Variant Field::Value() const {
  const auto* values = table_->CurrentValues();
  if (!values) return Variant::Null();
  if (table_->IsCalculated(index_)) return table_->CalculatedValue(index_);
  return (*values)[static_cast<size_t>(index_)];
}

// A calculated field has no value of its own from before the edit.
Variant Field::OldValue() const {
  const Table& t = *table_;
  if (t.state_ == DataSetState::Insert || t.IsCalculated(index_)) return Variant::Null();
  if (t.current_ < 0) return Variant::Null();
  return t.rows_[static_cast<size_t>(t.current_)].values[static_cast<size_t>(index_)];
}

bool Field::IsNull() const { return Value().IsEmptyOrNull(); }

std::string Field::AsString() const { return Value().AsString(); }

std::int32_t Field::AsInteger() const {
  const Variant v = Value();
  return v.IsEmptyOrNull() ? 0 : v.AsInt();
}

std::int64_t Field::AsLargeInt() const {
  const Variant v = Value();
  return v.IsEmptyOrNull() ? 0 : v.AsInt64();
}

double Field::AsFloat() const {
  const Variant v = Value();
  return v.IsEmptyOrNull() ? 0 : v.AsDouble();
}

bool Field::AsBoolean() const {
  const Variant v = Value();
  if (v.IsEmptyOrNull()) return false;
  if (IsNumeric(v)) return Number(v) != 0;
  return v.AsBool();
}

double Field::AsDateTime() const {
  const Variant v = Value();
  return v.IsEmptyOrNull() ? 0 : v.AsDateTime();
}

void Field::SetValue(const Variant& value) { table_->SetFieldValue(index_, value); }

// ---- Table: definition and reading ------------------------------------------

Table::Table(Database& database, std::string TableName, std::string IndexFieldNames, std::string Name)
    : Name(std::move(Name)),
      database_(&database),
      tableName_(std::move(TableName)),
      indexFieldNames_(std::move(IndexFieldNames)) {
  if (this->Name.empty()) this->Name = tableName_;
}

Table::~Table() = default;

void Table::CheckActive() const {
  if (!Active()) throw DataSetError(Name + ": Cannot perform this operation on a closed dataset");
}

int Table::FieldIndex(std::string_view name) const {
  for (size_t i = 0; i < fields_.size(); ++i) {
    if (EqualsNoCase(fields_[i].name, name)) return static_cast<int>(i);
  }
  return -1;
}

std::vector<int> Table::FieldIndexes(std::string_view names) const {
  std::vector<int> out;
  for (const std::string& name : SplitNames(names)) {
    const int index = FieldIndex(name);
    if (index < 0) throw DataSetError(Name + ": Field '" + name + "' not found");
    out.push_back(index);
  }
  return out;
}

std::vector<int> Table::StoredFieldIndexes(std::string_view names) const {
  std::vector<int> out = FieldIndexes(names);
  for (int index : out) {
    if (IsCalculated(index)) {
      throw DataSetError(Name + ": Field '" + fields_[static_cast<size_t>(index)].name + "' is calculated");
    }
  }
  return out;
}

void Table::AddCalculatedField(std::string FieldName, FieldKind Kind, int Size, Calculation Calculate) {
  if (FieldIndex(FieldName) >= 0 ||
      std::any_of(calculations_.begin(), calculations_.end(),
                  [&](const auto& known) { return EqualsNoCase(known.first.name, FieldName); })) {
    throw DataSetError(Name + ": Duplicate field name '" + FieldName + "'");
  }
  FieldDef def;
  def.name = std::move(FieldName);
  def.declType = "CALCULATED";
  def.kind = Kind;
  def.size = Size;
  def.calculated = true;
  calculations_.emplace_back(def, std::move(Calculate));
  if (Active()) fields_.push_back(std::move(def));
}

Variant Table::CalculatedValue(int index) {
  const auto& calculation = calculations_[static_cast<size_t>(index - storedCount_)].second;
  return calculation ? calculation(*this) : Variant::Null();
}

void Table::ReadFieldDefs() {
  const ResultSet info = database_->Query("PRAGMA table_info(" + Quote(tableName_) + ")");
  if (info.rows.empty()) throw DataSetError(Name + ": Table does not exist: " + tableName_);
  const int nameCol = info.ColumnIndex("name"), typeCol = info.ColumnIndex("type");
  const int pkCol = info.ColumnIndex("pk"), dfltCol = info.ColumnIndex("dflt_value");
  const int notNullCol = info.ColumnIndex("notnull");
  fields_.clear();
  std::vector<std::pair<int, int>> keyOrder;
  for (const auto& row : info.rows) {
    FieldDef def;
    def.name = row[static_cast<size_t>(nameCol)].AsString();
    def.declType = row[static_cast<size_t>(typeCol)].AsString();
    def.kind = FieldKindOfDeclType(def.declType);
    def.size = SizeOfDeclType(def.declType);
    def.keyPosition = row[static_cast<size_t>(pkCol)].AsInt();
    def.required = row[static_cast<size_t>(notNullCol)].AsInt() != 0;
    def.defaultValue = ParseDefault(row[static_cast<size_t>(dfltCol)], def.kind);
    if (def.keyPosition > 0) keyOrder.emplace_back(def.keyPosition, static_cast<int>(fields_.size()));
    fields_.push_back(std::move(def));
  }
  std::sort(keyOrder.begin(), keyOrder.end());
  keyFields_.clear();
  for (const auto& [position, index] : keyOrder) keyFields_.push_back(index);
  storedCount_ = static_cast<int>(fields_.size());
  for (const auto& [def, calculation] : calculations_) {
    if (FieldIndex(def.name) >= 0) throw DataSetError(Name + ": Duplicate field name '" + def.name + "'");
    fields_.push_back(def);
  }
  sortFields_ = StoredFieldIndexes(indexFieldNames_);
}

std::string Table::SelectSql() const {
  std::string sql = "SELECT rowid, * FROM " + Quote(tableName_);
  return sql;
}

Table::Row Table::ToRow(std::vector<Variant>& raw) const {
  Row row;
  row.rowid = raw[0].AsInt64();
  // Reuses the row's own storage: a cache table can hold many thousand rows.
  raw.erase(raw.begin());
  row.values = std::move(raw);
  return row;
}

std::vector<Table::Row> Table::ReadRows(const std::string& whereSql, std::span<const Variant> params) const {
  std::string sql = SelectSql();
  if (!whereSql.empty()) sql += " WHERE " + whereSql;
  sql += " ORDER BY ";
  for (int index : sortFields_) sql += Quote(fields_[static_cast<size_t>(index)].name) + ", ";
  sql += "rowid";
  ResultSet result = database_->Query(sql, params);
  if (result.columns.size() != static_cast<size_t>(storedCount_) + 1) {
    throw DataSetError(Name + ": The layout of " + tableName_ + " changed while it was open");
  }
  std::vector<Row> rows;
  rows.reserve(result.rows.size());
  for (auto& raw : result.rows) rows.push_back(ToRow(raw));
  return rows;
}

void Table::Open() {
  if (Active()) return;
  ReadFieldDefs();
  readStamp_ = database_->CurrentChangeStamp();
  rows_ = ReadRows({}, {});
  state_ = DataSetState::Browse;
  current_ = rows_.empty() ? -1 : 0;
  bof_ = true;
  eof_ = rows_.empty();
  Fire(AfterOpen, TableEvent::AfterOpen);
}

void Table::Close() {
  if (!Active()) return;
  Fire(BeforeClose, TableEvent::BeforeClose);
  state_ = DataSetState::Inactive;
  rows_.clear();
  buffer_.clear();
  changed_.clear();
  current_ = -1;
  bof_ = eof_ = true;
  if (AfterClose) AfterClose(*this);
}

std::string Table::KeyWhere(std::vector<Variant>& params, const Row& row) const {
  if (keyFields_.empty()) {
    params.emplace_back(row.rowid);
    return "rowid = ?";
  }
  std::string where;
  for (int index : keyFields_) {
    if (!where.empty()) where += " AND ";
    where += Quote(fields_[static_cast<size_t>(index)].name) + " IS ?";
    params.push_back(row.values[static_cast<size_t>(index)]);
  }
  return where;
}

bool Table::SameRow(const Row& a, const Row& b) const {
  if (keyFields_.empty()) return a.rowid == b.rowid;
  for (int index : keyFields_) {
    if (CompareStored(a.values[static_cast<size_t>(index)], b.values[static_cast<size_t>(index)]) != 0) return false;
  }
  return true;
}

int Table::FindRowIndex(const Row& like) const {
  for (size_t i = 0; i < rows_.size(); ++i) {
    if (SameRow(rows_[i], like)) return static_cast<int>(i);
  }
  return -1;
}

bool Table::SortsBefore(const Row& a, const Row& b) const {
  for (int index : sortFields_) {
    const int c = CompareStored(a.values[static_cast<size_t>(index)], b.values[static_cast<size_t>(index)]);
    if (c != 0) return c < 0;
  }
  return a.rowid < b.rowid;
}

int Table::PlaceRow(Row row, int fallbackIndex) {
  size_t at;
  if (!sortFields_.empty()) {
    at = static_cast<size_t>(std::upper_bound(rows_.begin(), rows_.end(), row,
                                              [this](const Row& a, const Row& b) { return SortsBefore(a, b); }) -
                             rows_.begin());
  } else {
    at = std::min(static_cast<size_t>(std::max(fallbackIndex, 0)), rows_.size());
  }
  rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(at), std::move(row));
  return static_cast<int>(at);
}

void Table::Refresh() {
  CheckActive();
  CheckBrowseMode();
  std::optional<Row> was;
  if (current_ >= 0) was = rows_[static_cast<size_t>(current_)];
  const int oldIndex = current_;
  readStamp_ = database_->CurrentChangeStamp();
  rows_ = ReadRows({}, {});
  current_ = -1;
  if (was) current_ = FindRowIndex(*was);
  if (current_ < 0 && !rows_.empty()) current_ = std::clamp(oldIndex, 0, static_cast<int>(rows_.size()) - 1);
  eof_ = rows_.empty();
  bof_ = current_ <= 0;
}

void Table::Resync() {
  CheckActive();
  CheckBrowseMode();
  if (current_ < 0) {
    Refresh();
    return;
  }
  std::vector<Variant> params;
  const std::string where = KeyWhere(params, rows_[static_cast<size_t>(current_)]);
  std::vector<Row> fresh = ReadRows(where, params);
  if (fresh.empty()) {
    Refresh();
    return;
  }
  rows_.erase(rows_.begin() + current_);
  current_ = PlaceRow(std::move(fresh.front()), current_);
}

// ---- navigation -----------------------------------------------------------

int Table::RecordCount() const { return Active() ? static_cast<int>(rows_.size()) : 0; }

int Table::RecNo() const {
  if (state_ == DataSetState::Insert) return 0;
  return current_ < 0 ? 0 : current_ + 1;
}

void Table::Scrolled() { Fire(AfterScroll, TableEvent::AfterScroll); }

void Table::First() {
  CheckActive();
  CheckBrowseMode();
  current_ = rows_.empty() ? -1 : 0;
  bof_ = true;
  eof_ = rows_.empty();
  Scrolled();
}

void Table::Last() {
  CheckActive();
  CheckBrowseMode();
  current_ = static_cast<int>(rows_.size()) - 1;
  eof_ = true;
  bof_ = rows_.empty();
  Scrolled();
}

void Table::Next() {
  CheckActive();
  CheckBrowseMode();
  if (current_ + 1 < static_cast<int>(rows_.size())) {
    ++current_;
    bof_ = false;
    Scrolled();
  } else {
    eof_ = true;
  }
}

void Table::Prior() {
  CheckActive();
  CheckBrowseMode();
  if (current_ > 0) {
    --current_;
    eof_ = false;
    Scrolled();
  } else {
    bof_ = true;
  }
}

// ---- field access -----------------------------------------------------------

Field Table::Fields(int index) {
  CheckActive();
  if (index < 0 || index >= FieldCount()) throw DataSetError(Name + ": List index out of bounds");
  return Field(*this, index);
}

Field Table::FieldByName(std::string_view name) {
  auto field = FindField(name);
  if (!field) throw DataSetError(Name + ": Field '" + std::string(name) + "' not found");
  return *field;
}

std::optional<Field> Table::FindField(std::string_view name) {
  CheckActive();
  const int index = FieldIndex(name);
  if (index < 0) return std::nullopt;
  return Field(*this, index);
}

std::vector<std::string> Table::KeyFieldNames() const {
  std::vector<std::string> out;
  for (int index : keyFields_) out.push_back(fields_[static_cast<size_t>(index)].name);
  return out;
}

const std::vector<Variant>* Table::CurrentValues() const {
  if (state_ == DataSetState::Edit || state_ == DataSetState::Insert) return &buffer_;
  if (state_ == DataSetState::Inactive || current_ < 0) return nullptr;
  return &rows_[static_cast<size_t>(current_)].values;
}

void Table::SetFieldValue(int index, const Variant& value) {
  if (state_ != DataSetState::Edit && state_ != DataSetState::Insert) {
    throw DataSetError(Name + ": Dataset not in edit or insert mode");
  }
  if (IsCalculated(index)) {
    throw DataSetError(Name + ": Field '" + fields_[static_cast<size_t>(index)].name + "' cannot be modified");
  }
  const FieldKind kind = fields_[static_cast<size_t>(index)].kind;
  Variant stored = value.IsEmpty() ? Variant::Null() : value;
  if (kind == FieldKind::Boolean && stored.kind() == K::Bool) {
    // kept as is
  } else {
    stored = ValueForKind(kind, std::move(stored));
  }
  buffer_[static_cast<size_t>(index)] = std::move(stored);
  changed_[static_cast<size_t>(index)] = true;
}

// ---- searching ------------------------------------------------------------

// The rows are kept in index order, nulls first, then numbers, then text (see
// CompareStored): an exact search on the one index field looks in the part a
// match can be in, by halves, and finds the first match as a scan would.
int Table::FindSorted(int field, const Variant& wanted) const {
  auto value = [this, field](std::size_t r) -> const Variant& { return rows_[r].values[static_cast<size_t>(field)]; };
  auto rank = [](const Variant& v) { return v.IsEmptyOrNull() ? 0 : IsNumeric(v) ? 1 : 2; };
  auto firstOfRank = [&](int r) {
    std::size_t lo = 0, hi = rows_.size();
    while (lo < hi) {
      const std::size_t mid = lo + (hi - lo) / 2;
      if (rank(value(mid)) < r) lo = mid + 1;
      else hi = mid;
    }
    return lo;
  };
  if (wanted.IsEmptyOrNull()) return !rows_.empty() && rank(value(0)) == 0 ? 0 : -1;
  const std::size_t numbers = firstOfRank(1), texts = firstOfRank(2);
  bool numeric = true;
  double w = 0;
  try {
    w = Number(wanted);
  } catch (const std::exception&) {
    numeric = false;  // no number field can match it
  }
  if (numeric) {
    std::size_t lo = numbers, hi = texts;
    while (lo < hi) {
      const std::size_t mid = lo + (hi - lo) / 2;
      if (Number(value(mid)) < w) lo = mid + 1;
      else hi = mid;
    }
    if (lo < texts && Number(value(lo)) == w) return static_cast<int>(lo);
  }
  const std::string text = wanted.AsString();
  std::size_t lo = texts, hi = rows_.size();
  while (lo < hi) {
    const std::size_t mid = lo + (hi - lo) / 2;
    if (value(mid).AsString() < text) lo = mid + 1;
    else hi = mid;
  }
  if (lo < rows_.size() && value(lo).AsString() == text) return static_cast<int>(lo);
  return -1;
}

int Table::FindMatch(const std::vector<int>& fields, const std::vector<Variant>& values,
                     const LocateOptions& options) const {
  if (fields.size() == 1 && sortFields_.size() == 1 && fields[0] == sortFields_[0] && !options.caseInsensitive &&
      !options.partialKey) {
    return FindSorted(fields[0], values[0]);
  }
  for (size_t r = 0; r < rows_.size(); ++r) {
    bool all = true;
    for (size_t f = 0; f < fields.size() && all; ++f) {
      all = Matches(rows_[r].values[static_cast<size_t>(fields[f])], values[f], options);
    }
    if (all) return static_cast<int>(r);
  }
  return -1;
}

namespace {

std::vector<Variant> KeyValueList(const Variant& KeyValues, size_t count, const std::string& name) {
  if (KeyValues.kind() == K::Array) {
    const auto& list = KeyValues.AsArray();
    if (list.size() != count) throw DataSetError(name + ": Wrong number of key values");
    return list;
  }
  if (count != 1) throw DataSetError(name + ": Wrong number of key values");
  return {KeyValues};
}

}  // namespace

bool Table::Locate(std::string_view KeyFields, const Variant& KeyValues, LocateOptions Options) {
  CheckActive();
  CheckBrowseMode();
  const std::vector<int> fields = StoredFieldIndexes(KeyFields);
  const std::vector<Variant> values = KeyValueList(KeyValues, fields.size(), Name);
  int found = FindMatch(fields, values, Options);
  if (found < 0 && ChangedSinceRead()) {
    Refresh();
    found = FindMatch(fields, values, Options);
  }
  if (found < 0) return false;
  current_ = found;
  bof_ = eof_ = false;
  Scrolled();
  return true;
}

void Table::KeepReadStampAcross(std::int64_t changesBefore) {
  if (readStamp_ && readStamp_->totalChanges == changesBefore) readStamp_->totalChanges = database_->TotalChanges();
}

bool Table::ChangedSinceRead() {
  if (!readStamp_) return false;
  const std::optional<Database::ChangeStamp> now = database_->CurrentChangeStamp();
  return now && *now != *readStamp_;
}

Variant Table::Lookup(std::string_view KeyFields, const Variant& KeyValues, std::string_view ResultFields) {
  CheckActive();
  const std::vector<int> fields = StoredFieldIndexes(KeyFields);
  const std::vector<Variant> values = KeyValueList(KeyValues, fields.size(), Name);
  // The calculations read the current row, not the one found.
  const std::vector<int> results = StoredFieldIndexes(ResultFields);
  const int found = FindMatch(fields, values, {});
  if (found < 0) return Variant::Null();
  const auto& row = rows_[static_cast<size_t>(found)].values;
  if (results.size() == 1) return row[static_cast<size_t>(results[0])];
  platform::VariantList out;
  for (int index : results) out.push_back(row[static_cast<size_t>(index)]);
  return Variant(std::move(out));
}

// ---- changing rows ----------------------------------------------------------

bool Table::Modified() const {
  return (state_ == DataSetState::Edit || state_ == DataSetState::Insert) &&
         std::find(changed_.begin(), changed_.end(), true) != changed_.end();
}

void Table::CheckBrowseMode() {
  CheckActive();
  if (state_ == DataSetState::Edit || state_ == DataSetState::Insert) {
    if (Modified()) {
      Post();
    } else {
      Cancel();
    }
  }
}

void Table::EnsureEditing() {
  if (!Editing()) Edit();
}

void Table::PostIfEditing() {
  if (Editing()) Post();
}

void Table::CancelIfEditing() {
  if (Editing()) Cancel();
}

bool Table::Flag(std::string_view name) {
  const Field field = FieldByName(name);
  if (field.DataType() == FieldKind::String || field.DataType() == FieldKind::Memo) return field.AsString() == "Y";
  return field.AsBoolean();
}

void Table::Edit() {
  CheckActive();
  if (state_ == DataSetState::Edit || state_ == DataSetState::Insert) return;
  if (rows_.empty()) {
    Insert();
    return;
  }
  Fire(BeforeEdit, TableEvent::BeforeEdit);
  buffer_ = rows_[static_cast<size_t>(current_)].values;
  changed_.assign(static_cast<size_t>(storedCount_), false);
  state_ = DataSetState::Edit;
  Fire(AfterEdit, TableEvent::AfterEdit);
}

void Table::Insert() {
  CheckActive();
  CheckBrowseMode();
  Fire(BeforeInsert, TableEvent::BeforeInsert);
  buffer_.clear();
  for (int i = 0; i < storedCount_; ++i) buffer_.push_back(fields_[static_cast<size_t>(i)].defaultValue);
  changed_.assign(static_cast<size_t>(storedCount_), false);
  appending_ = false;
  state_ = DataSetState::Insert;
  Fire(AfterInsert, TableEvent::AfterInsert);
}

void Table::Append() {
  Insert();
  appending_ = true;
}

void Table::Post() {
  CheckActive();
  if (state_ != DataSetState::Edit && state_ != DataSetState::Insert) return;
  Fire(BeforePost, TableEvent::BeforePost);

  std::vector<Variant> params;
  if (state_ == DataSetState::Insert) {
    std::string columns, marks;
    for (size_t i = 0; i < changed_.size(); ++i) {
      if (!changed_[i]) continue;
      if (!columns.empty()) {
        columns += ", ";
        marks += ", ";
      }
      columns += Quote(fields_[i].name);
      marks += "?";
      params.push_back(buffer_[i]);
    }
    const std::string sql = columns.empty() ? "INSERT INTO " + Quote(tableName_) + " DEFAULT VALUES"
                                            : "INSERT INTO " + Quote(tableName_) + " (" + columns + ") VALUES (" +
                                                  marks + ")";
    const std::int64_t before = database_->TotalChanges();
    database_->Execute(sql, params);
    KeepReadStampAcross(before);
    const std::int64_t rowid = database_->LastInsertRowId();
    std::vector<Variant> where{Variant(rowid)};
    std::vector<Row> fresh = ReadRows("rowid = ?", where);
    state_ = DataSetState::Browse;
    if (!fresh.empty()) {
      const int at = appending_ ? static_cast<int>(rows_.size()) : std::max(current_, 0);
      current_ = PlaceRow(std::move(fresh.front()), at);
    }
  } else {
    Row& row = rows_[static_cast<size_t>(current_)];
    std::string sets;
    for (size_t i = 0; i < changed_.size(); ++i) {
      if (!changed_[i]) continue;
      if (!sets.empty()) sets += ", ";
      sets += Quote(fields_[i].name) + " = ?";
      params.push_back(buffer_[i]);
    }
    if (!sets.empty()) {
      const std::string where = KeyWhere(params, row);
      const std::int64_t before = database_->TotalChanges();
      const int changedRows = database_->Execute("UPDATE " + Quote(tableName_) + " SET " + sets + " WHERE " + where,
                                                 params);
      KeepReadStampAcross(before);
      if (changedRows == 0) {
        throw DataSetError(Name + ": Record not found or changed by another user");
      }
      // Read back what the database holds now; a changed key finds it by the new one.
      Row written{row.rowid, buffer_};
      std::vector<Variant> keyParams;
      const std::string keyWhere = KeyWhere(keyParams, written);
      std::vector<Row> fresh = ReadRows(keyWhere, keyParams);
      const int at = current_;
      const auto place = static_cast<size_t>(at);
      if (!fresh.empty() && (place == 0 || !SortsBefore(fresh.front(), rows_[place - 1])) &&
          (place + 1 >= rows_.size() || !SortsBefore(rows_[place + 1], fresh.front()))) {
        // Still in order where it stands: no shifting of the rows behind it.
        rows_[place] = std::move(fresh.front());
      } else if (!fresh.empty()) {
        rows_.erase(rows_.begin() + at);
        current_ = PlaceRow(std::move(fresh.front()), at);
      } else {
        rows_.erase(rows_.begin() + at);
        current_ = rows_.empty() ? -1 : std::min(at, static_cast<int>(rows_.size()) - 1);
      }
    }
    state_ = DataSetState::Browse;
  }
  buffer_.clear();
  changed_.clear();
  bof_ = eof_ = false;
  if (rows_.empty()) eof_ = bof_ = true;
  Fire(AfterPost, TableEvent::AfterPost);
}

void Table::Cancel() {
  CheckActive();
  if (state_ != DataSetState::Edit && state_ != DataSetState::Insert) return;
  Fire(BeforeCancel, TableEvent::BeforeCancel);
  buffer_.clear();
  changed_.clear();
  state_ = DataSetState::Browse;
  Fire(AfterCancel, TableEvent::AfterCancel);
}

void Table::Delete() {
  CheckActive();
  if (state_ == DataSetState::Insert) {
    Cancel();
    return;
  }
  if (rows_.empty()) throw DataSetError(Name + ": Cannot perform this operation on an empty dataset");
  Fire(BeforeDelete, TableEvent::BeforeDelete);
  // An edit in progress dies with its row.
  buffer_.clear();
  changed_.clear();
  state_ = DataSetState::Browse;
  std::vector<Variant> params;
  const std::string where = KeyWhere(params, rows_[static_cast<size_t>(current_)]);
  const std::int64_t before = database_->TotalChanges();
  database_->Execute("DELETE FROM " + Quote(tableName_) + " WHERE " + where, params);
  KeepReadStampAcross(before);
  rows_.erase(rows_.begin() + current_);
  if (rows_.empty()) {
    current_ = -1;
    eof_ = bof_ = true;
  } else {
    current_ = std::min(current_, static_cast<int>(rows_.size()) - 1);
    eof_ = bof_ = false;
  }
  Fire(AfterDelete, TableEvent::AfterDelete);
}

// ---- events -------------------------------------------------------------------

void Table::Fire(const Handler& handler, TableEvent event) {
  // A copy: an observer may remove itself while it is told.
  const std::vector<TableObserver*> observers = observers_;
  for (TableObserver* observer : observers) observer->OnTableEvent(*this, event);
  if (handler) handler(*this);
}

void Table::AddObserver(TableObserver* observer) {
  if (std::find(observers_.begin(), observers_.end(), observer) == observers_.end()) observers_.push_back(observer);
}

void Table::RemoveObserver(TableObserver* observer) {
  observers_.erase(std::remove(observers_.begin(), observers_.end(), observer), observers_.end());
}

}  // namespace quillorn::data
