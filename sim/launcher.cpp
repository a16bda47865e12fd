#include "sim/launcher.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "data/sql_database.h"
#include "foundation/datetime.h"
#include "foundation/paths.h"
#include "hostsim/doc_file.h"
#include "hostsim/hosts.h"
#include "server/procedure_calls.h"
#include "server/store.h"
#include "server/submit_functions.h"
#include "sim/simulation.h"

namespace quillorn::sim {
namespace {

std::string SqlText(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
  return out + "'";
}

const char* SqlBool(bool value) { return value ? "true" : "false"; }

// "2024-01-15" as the cache keeps dates: days since 1899-12-30.
bool ParseDate(const std::string& text, double& days) {
  int year = 0, month = 0, day = 0;
  if (text.size() < 10 || std::sscanf(text.c_str(), "%4d-%2d-%2d", &year, &month, &day) != 3) return false;
  foundation::TDateTime value = 0;
  if (!foundation::TryEncodeDate(year, month, day, value)) return false;
  days = value;
  return true;
}

platform::Variant CacheValueOf(const server::StoreCell& cell, const std::string& declType) {
  using Kind = server::StoreCell::Kind;
  switch (cell.kind) {
    case Kind::Null: return platform::Variant::Null();
    case Kind::Integer: return platform::Variant(cell.integer);
    case Kind::Real: return platform::Variant(cell.real);
    case Kind::Text: {
      const std::string type = foundation::UpperCase(declType);
      double days = 0;
      if ((type.find("DATE") != std::string::npos || type.find("TIME") != std::string::npos) &&
          ParseDate(cell.bytes, days)) {
        return platform::Variant::FromDateTime(days);
      }
      return platform::Variant(cell.bytes);
    }
    case Kind::Blob: return platform::Variant(cell.bytes);
  }
  return platform::Variant::Null();
}

// The server's rows into a cache table, field by field under the same names;
// columns the cache lacks are the server's own and are left out.
void CopyRows(data::Database& db, const server::StoreRows& rows, const std::string& table) {
  const data::ResultSet shape = db.Query("select * from " + table + " where 1=0");
  std::vector<std::pair<std::size_t, int>> columns;  // server column, cache column
  for (std::size_t i = 0; i < rows.Columns.size(); ++i) {
    const int at = shape.ColumnIndex(rows.Columns[i].Name);
    if (at >= 0) columns.emplace_back(i, at);
  }
  if (columns.empty()) return;
  std::string names, marks;
  for (const auto& [from, to] : columns) {
    names += (names.empty() ? "" : ", ") + shape.columns[static_cast<std::size_t>(to)];
    marks += marks.empty() ? "?" : ", ?";
  }
  const std::string insert = "insert into " + table + " (" + names + ") values (" + marks + ")";
  for (const auto& row : rows.Rows) {
    std::vector<platform::Variant> values;
    for (const auto& [from, to] : columns) {
      values.push_back(CacheValueOf(row[from], shape.declTypes[static_cast<std::size_t>(to)]));
    }
    db.Execute(insert, values);
  }
}

void SetCmsId(hostsim::DocumentModel& doc, const std::string& value) {
  if (doc.host == platform::HostType::ohaPublisher) {
    for (auto& tag : doc.tags) {
      if (tag.name == "cmsID") {
        tag.value = value;
        return;
      }
    }
    doc.tags.push_back({"cmsID", value});
    return;
  }
  for (auto& property : doc.custom_properties) {
    if (property.name == "cmsID") {
      property.value = value;
      property.type = 4;
      return;
    }
  }
  doc.custom_properties.push_back({"cmsID", 4, value, false});
}

// A new document shows its revision and name in the footer, as documents
// made from the organisation's templates do.
void AddRevisionFields(hostsim::DocumentModel& doc) {
  if (doc.host != platform::HostType::ohaWord || doc.sections.empty()) return;
  auto& footer = doc.sections[0]->footers[0];
  footer.created = true;
  for (const char* name : {"cmsDocName", "cmsRevision"}) {
    hostsim::FieldModel field;
    field.code = std::string(" DOCPROPERTY \"") + name + "\" ";
    field.result = "Error! Unknown document property name.";
    footer.story.fields.push_back(field);
  }
}

}  // namespace

Placement SimLauncher::PlaceFile(std::int32_t docId, const std::string& cmsId, const std::string& path) {
  const auto kind = hostsim::HostKindForFile(path);
  if (!kind) throw SimulationError("no host opens a file like " + path);
  Placement placed;
  placed.CmsId = cmsId;
  std::shared_ptr<hostsim::DocumentModel> doc;
  const std::filesystem::path stored =
      server::SentFilePath(foundation::PathFromUtf8(sim_.ServerFolder()), docId);
  std::error_code ec;
  if (sim_.Store() != nullptr && std::filesystem::is_regular_file(stored, ec)) {
    std::ifstream in(stored, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    doc = hostsim::DocumentFromJson(bytes.str(), *kind);
    placed.FromServer = true;
  } else {
    doc = hostsim::NewDocumentModel(*kind);
    AddRevisionFields(*doc);
  }
  SetCmsId(*doc, cmsId);
  std::filesystem::create_directories(foundation::PathFromUtf8(foundation::ExtractFilePath(path)), ec);
  hostsim::SaveDocumentFile(*doc, path);
  return placed;
}

bool SimLauncher::CacheRecords(std::int32_t docId, std::int32_t userId) {
  server::ServerStore* store = sim_.Store();
  if (store == nullptr) return false;
  const std::string id = std::to_string(docId);
  const std::string user = std::to_string(userId);
  const auto select = [&](const std::string& sql) { return store->Select(server::RewriteProcedureCalls(sql)); };
  const server::StoreRows doc = select("SELECT * FROM DOCS WHERE DOC_ID=" + id);
  const server::StoreRows rights =
      select("select " + id + " as doc_id, " + user +
             " as user_id, p_create, p_edit, p_delete, p_move, p_view, p_approve, p_revise, p_checkout, "
             "p_print_unctrl, p_export, p_change_permission from get_doc_permissions(" + id + ", " + user + ")");
  const server::StoreRows users = select("SELECT * from Users where coalesce(IS_WEB_USER, 'N')='N'");
  const server::StoreRows groups = select("SELECT * from GROUPS");
  const server::StoreRows links = select("SELECT * from USER_GROUP_LINKS");
  const server::StoreRows codes = select("select D_TYPE, CODE, VAL from CODES where D_TYPE<>'DOC_FIELD'");
  const server::StoreRows fields = select("select CODE, VAL from GET_DOC_FIELDS");
  const server::StoreRows logo = select("select logo from ORGANISATION");
  sim_.WithLauncherCache([&](data::Database& db) {
    db.Execute("delete from DOCS where DOC_ID=" + id);
    CopyRows(db, doc, "DOCS");
    db.Execute("delete from DOC_PERMISSIONS where DOC_ID=" + id + " and USER_ID=" + user);
    CopyRows(db, rights, "DOC_PERMISSIONS");
    for (const char* table : {"USERS", "GROUPS", "USER_GROUP_LINKS", "CODES", "DOCFIELDS", "LOGO"}) {
      db.Execute(std::string("delete from ") + table);
    }
    CopyRows(db, users, "USERS");
    CopyRows(db, groups, "GROUPS");
    CopyRows(db, links, "USER_GROUP_LINKS");
    CopyRows(db, codes, "CODES");
    CopyRows(db, fields, "DOCFIELDS");
    CopyRows(db, logo, "LOGO");
  });
  return !doc.Rows.empty();
}

Placement SimLauncher::Announce(const Announcement& a) {
  const std::string cmsId =
      std::to_string(a.DocId) + (a.CheckedOut && a.UserId != 0 ? ";" + std::to_string(a.UserId) : std::string());
  Placement placed = PlaceFile(a.DocId, cmsId, a.FileName);
  placed.RecordsCached = CacheRecords(a.DocId, a.UserId);
  sim_.WithLauncherCache([&](data::Database& db) {
    db.Execute("delete from FILES where lower(FILENAME)=lower(" + SqlText(a.FileName) + ")");
    db.Execute("insert into FILES (DOC_ID, FILENAME, INIT, IGNORE, OLE_IGNORE, USER_ID, READ_ONLY, PRINT, "
               "PRINT_CONTROLLED, CHECKED_OUT, CACHED) values (" +
               std::to_string(a.DocId) + ", " + SqlText(a.FileName) + ", false, false, false, " +
               std::to_string(a.UserId) + ", " + SqlBool(a.ReadOnly) + ", " + SqlBool(a.Print) + ", " +
               SqlBool(a.PrintControlled) + ", " + SqlBool(a.CheckedOut) + ", false)");
  });
  return placed;
}

Placement SimLauncher::PlaceCopy(std::int32_t docId, std::int32_t userId, const std::string& path, bool records) {
  const std::string cmsId = std::to_string(docId) + (userId != 0 ? ";" + std::to_string(userId) : std::string());
  Placement placed = PlaceFile(docId, cmsId, path);
  if (records) placed.RecordsCached = CacheRecords(docId, userId);
  return placed;
}

}  // namespace quillorn::sim
