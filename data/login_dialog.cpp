#include "data/login_dialog.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::data {

namespace {

using platform::Buttons;
using platform::MessageKind;
using platform::ModalResult;

// Puts the normal cursor back however the check ends.
class HourGlass {
 public:
  explicit HourGlass(std::function<void(TdlgLogin::TCursor)> set) : set_(std::move(set)) {
    set_(TdlgLogin::TCursor::crHourGlass);
  }
  ~HourGlass() { set_(TdlgLogin::TCursor::crDefault); }
  HourGlass(const HourGlass&) = delete;
  HourGlass& operator=(const HourGlass&) = delete;

 private:
  std::function<void(TdlgLogin::TCursor)> set_;
};

}  // namespace

std::string SkinNameForOfficeVersion(int OfficeVersion) {
  switch (OfficeVersion) {
    case 2007:
    case 2010:
      return "Office2007Blue";
    case 2013:
      return "Office2013White";
    case 2016:
      return "Office2016Colorful";
    default:
      return {};
  }
}

TdlgLogin::TdlgLogin(platform::Prompts& Prompts, Authenticator Authenticate)
    : prompts_(Prompts), authenticate_(std::move(Authenticate)) {}

std::string TdlgLogin::GetField(std::string_view field) const {
  if (field == "edLogin") return edLogin;
  if (field == "edPwd") return edPwd;
  throw std::invalid_argument("TdlgLogin has no field " + std::string(field));
}

void TdlgLogin::SetField(std::string_view field, std::string_view value) {
  if (field == "edLogin") {
    edLogin = value;
  } else if (field == "edPwd") {
    edPwd = value;
  } else {
    throw std::invalid_argument("TdlgLogin has no field " + std::string(field));
  }
}

std::optional<ModalResult> TdlgLogin::Press(std::string_view button) {
  if (button == Button2Caption) {
    Button2Click();
  } else if (button == Button1Caption) {
    Button1Click();
  } else {
    throw std::invalid_argument("TdlgLogin has no button " + std::string(button));
  }
  if (ModalResult == ModalResult::mrNone) return std::nullopt;
  return ModalResult;
}

void TdlgLogin::FormShow(int OfficeVersion) { SkinName = SkinNameForOfficeVersion(OfficeVersion); }

void TdlgLogin::SetCursor(TCursor cursor) {
  cursor_ = cursor;
  if (OnCursorChange) OnCursorChange(cursor);
}

void TdlgLogin::Button1Click() { ModalResult = ModalResult::mrCancel; }

void TdlgLogin::Button2Click() {
  ModalResult = ModalResult::mrNone;
  PasswordSelected = false;
  const std::string login = foundation::Trim(edLogin);
  const std::string password = foundation::Trim(edPwd);
  if (login.empty()) {
    prompts_.MessageDlg(kEnterUsername, MessageKind::Warning, Buttons::OK);
    ActiveControl = "edLogin";
    return;
  }
  if (password.empty()) {
    prompts_.MessageDlg(kEnterPassword, MessageKind::Warning, Buttons::OK);
    ActiveControl = "edPwd";
    return;
  }
  try {
    HourGlass busy([this](TCursor cursor) { SetCursor(cursor); });
    UserID = authenticate_(login, password);
  } catch (const std::exception& e) {
    // A lookup that failed on its way to the server: the user sees why and may
    // try again; the dialog stays.
    foundation::LogException(e, "TdlgLogin.Button2Click");
    prompts_.MessageDlg(e.what(), MessageKind::Error, Buttons::OK);
    return;
  }
  if (UserID == 0) {
    prompts_.MessageDlg(kLoginIncorrect, MessageKind::Error, Buttons::OK);
    ActiveControl = "edPwd";
    PasswordSelected = true;
    return;
  }
  if (UserID == -1) {
    // Closes all the same: the caller gets -1 and decides what an unverified
    // user may do.
    prompts_.MessageDlg(kLoginNotVerified, MessageKind::Error, Buttons::OK);
  }
  ModalResult = ModalResult::mrOk;
}

}  // namespace quillorn::data
