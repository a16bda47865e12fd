// Who the user is, by a login of the system: the check of a login and password
// against the server or, with no server, against the cached users; the login
// prompt; and the readers of a user's names. Never maps a Windows account to a
// user, and never keeps a password beyond the check.
#pragma once

#include <string>

#include "data/tdm.h"
#include "platform/prompts.h"

namespace quillorn::data {

// The name under which the system's own actions appear.
inline constexpr char kSystemLoginName[] = "QUILLORN";

// The user id for a good login, 0 for a refused one, -1 when nobody can tell:
// no server answers and the cached users don't know the login. A failed server
// lookup raises to the caller.
int AuthenticateUser(Tdm& dm, const std::string& Login, const std::string& Password);

// Shows the login dialog and stores its answer in dm.UserID: the user id, -1
// for a login that could not be verified, 0 when cancelled. OfficeVersion (2007
// ... 2016) picks the dialog's look.
int PromptUserForLogin(Tdm& dm, platform::Prompts& Prompts, int OfficeVersion);

// Readers of tblUsers, which must be open. A user id that isn't there isn't
// noticed: the row the table is on answers.
std::string GetLoginName(Tdm& dm, int UserId);
std::string GetFullName(Tdm& dm, int UserId);
std::string GetGivenName(Tdm& dm, int UserId);
std::string GetSurname(Tdm& dm, int UserId);

// The login of mUserID, which nothing assigns: in practice always "".
std::string GetUserLogin(Tdm& dm);

}  // namespace quillorn::data
