// The indexes that serve the add-in's lookups on the cache (codes by type and
// code, users by login, change-log rows by file, tracking rows by session and
// by document). They are no part of the schema's version: every open makes the
// missing ones, so a cache made by an earlier build gains them as it is.
#pragma once

#include "data/sql_database.h"

namespace quillorn::data {

// Makes the indexes the cache lacks, all in one transaction. Never raises: a
// cache without them answers the same, only slower, and one that is busy or of
// an older layout gets them at a later open.
void AddLookupIndexes(Database& CacheDB) noexcept;

}  // namespace quillorn::data
