#include "data/login.h"

#include <cstdint>
#include <exception>
#include <string>

#include "data/login_dialog.h"
#include "data/lookups.h"
#include "data/proc_name_scope.h"
#include "data/sql_dialect.h"
#include "foundation/context.h"
#include "foundation/paths.h"

namespace quillorn::data {

namespace {

int AsUserId(const Variant& value) {
  if (value.IsEmptyOrNull()) return 0;
  try {
    return value.AsInt();
  } catch (const std::exception&) {
    return 0;
  }
}

}  // namespace

int AuthenticateUser(Tdm& dm, const std::string& Login, const std::string& Password) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.AuthenticateUser");
  if (!dm.mIsServerReachable()) {
    // Read the settings again, so that a fixed ini file counts at the user's retry.
    dm.InitConnectionSettings();
    dm.ConnectToServer(true);
  }
  // Logins are stored in upper case. Both values have their quotes doubled, so
  // that what was typed is only ever compared, never run: a login or password
  // with a quote finds nobody unless a user has that very name, and every other
  // login sends the bytes it always did.
  const std::string login = SqlSafeString(foundation::UpperCase(Login));
  if (dm.mIsServerReachable()) {
    return AsUserId(lookup(dm, "select user_id from users where login='" + login + "' and web_password='" +
                                   SqlSafeString(Password) + "'"));
  }
  dm.LoadFromCache(dm.tblUsers);
  const Variant row = dm.cacheLookup("select user_id, web_password from users where login='" + login + "'");
  if (row.kind() != Variant::Kind::Array || row.AsArray().size() < 2 || row.AsArray()[0].IsEmptyOrNull()) {
    return -1;
  }
  const auto& fields = row.AsArray();
  if (fields[1].AsString() != Password) return 0;
  return AsUserId(fields[0]);
}

int PromptUserForLogin(Tdm& dm, platform::Prompts& Prompts, int OfficeVersion) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.GetUserID");
  TdlgLogin dialog(Prompts, [&dm](const std::string& login, const std::string& password) {
    return AuthenticateUser(dm, login, password);
  });
  dialog.FormShow(OfficeVersion);
  const bool ok = Prompts.ShowDialog(dialog) == platform::ModalResult::mrOk;
  dm.UserID = ok ? dialog.UserID : 0;
  return dm.UserID;
}

namespace {

// Moves tblUsers to the user. A miss isn't noticed: the row the table was on answers.
Table& UsersAt(Tdm& dm, int UserId) {
  dm.tblUsers.Locate("user_id", Variant(static_cast<std::int32_t>(UserId)));
  return dm.tblUsers;
}

}  // namespace

std::string GetLoginName(Tdm& dm, int UserId) {
  if (UserId == 0) return kSystemLoginName;
  Table& users = UsersAt(dm, UserId);
  std::string login = users.FieldByName("login").AsString();
  // The cached USERS has no old_login: an empty login raises to the caller here.
  if (login.empty()) login = users.FieldByName("old_login").AsString();
  return login;
}

std::string GetFullName(Tdm& dm, int UserId) {
  Table& users = UsersAt(dm, UserId);
  return users.FieldByName("given_names").AsString() + " " + users.FieldByName("surname").AsString();
}

std::string GetGivenName(Tdm& dm, int UserId) {
  return UsersAt(dm, UserId).FieldByName("given_names").AsString();
}

std::string GetSurname(Tdm& dm, int UserId) { return UsersAt(dm, UserId).FieldByName("surname").AsString(); }

std::string GetUserLogin(Tdm& dm) {
  // mUserID is never assigned: this asks for user 0.
  const Variant login = dm.tblUsers.Lookup("user_id", Variant(static_cast<std::int32_t>(dm.mUserID)), "login");
  return login.IsEmptyOrNull() ? std::string() : login.AsString();
}

}  // namespace quillorn::data
