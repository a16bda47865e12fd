#include "data/cache_query.h"

#include <stdexcept>
#include <utility>

namespace quillorn::data {

CacheQuery::CacheQuery(Database& Database, std::string SQL, std::string Name)
    : Name(std::move(Name)), database_(Database), sql_(std::move(SQL)) {}

void CacheQuery::Open() {
  if (active_) return;
  rows_ = database_.Query(sql_);
  active_ = true;
  current_ = 0;
}

void CacheQuery::Close() {
  active_ = false;
  rows_ = {};
  current_ = 0;
}

Variant CacheQuery::FieldByName(std::string_view Column) const {
  const int index = rows_.ColumnIndex(Column);
  if (index < 0) throw std::out_of_range(Name + ": Field '" + std::string(Column) + "' not found");
  if (Eof()) return Variant::Null();
  return rows_.rows[static_cast<size_t>(current_)][static_cast<size_t>(index)];
}

}  // namespace quillorn::data
