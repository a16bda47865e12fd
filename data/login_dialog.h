// TdlgLogin, the login dialog as a view-model: its texts, its two fields, the
// checks of its OK button and the stored result. The platform renders it and a
// script can drive it; it never checks a login itself but asks the function it
// was given.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/prompts.h"

namespace quillorn::data {

inline constexpr char kLoginCaption[] = "Login to Quillorn";
inline constexpr char kLoginNotice[] =
    "Your user permissions need to be validated in order to access this document. Please login...";
inline constexpr char kEnterUsername[] = "Please enter your Username";
inline constexpr char kEnterPassword[] = "Please enter your Password";
inline constexpr char kLoginIncorrect[] = "Your username or password is incorrect.";
inline constexpr char kLoginNotVerified[] = "The Data Server is not reachable.\rYour login cannot be verified.";

// The look of the dialogs for a host version as a year; "" for one we don't know.
std::string SkinNameForOfficeVersion(int OfficeVersion);

class TdlgLogin final : public platform::DialogModel {
 public:
  enum class TCursor { crDefault, crHourGlass };
  // Login and Password arrive trimmed; the answer is AuthenticateUser's.
  using Authenticator = std::function<int(const std::string& Login, const std::string& Password)>;

  // Prompts shows the dialog's messages and must outlive it.
  TdlgLogin(platform::Prompts& Prompts, Authenticator Authenticate);

  // DialogModel: fields "edLogin" and "edPwd"; buttons "Ok" and "Cancel".
  std::string Name() const override { return "TdlgLogin"; }
  std::vector<std::string> FieldNames() const override { return {"edLogin", "edPwd"}; }
  std::string GetField(std::string_view field) const override;
  void SetField(std::string_view field, std::string_view value) override;
  std::optional<platform::ModalResult> Press(std::string_view button) override;

  // The look follows the host's version, on every edit of the dialog.
  void FormShow(int OfficeVersion);
  void Button2Click();  // "Ok"
  void Button1Click();  // "Cancel"

  // Captions as the renderer shows them; edPwd shows no characters.
  static constexpr const char* Caption = kLoginCaption;
  static constexpr const char* Notice = kLoginNotice;
  static constexpr const char* LabelLogin = "Username";
  static constexpr const char* LabelPassword = "Password";
  static constexpr const char* Button2Caption = "Ok";
  static constexpr const char* Button1Caption = "Cancel";
  static constexpr char PasswordChar = '*';

  std::string edLogin;
  std::string edPwd;
  std::string SkinName;
  // The control with the focus, and whether edPwd's text is selected in it.
  std::string ActiveControl = "edLogin";
  bool PasswordSelected = false;
  platform::ModalResult ModalResult = platform::ModalResult::mrNone;
  // What the last check answered; the caller reads it after an OK.
  int UserID = 0;

  // The screen cursor while the check runs; the renderer follows it.
  TCursor Cursor() const { return cursor_; }
  std::function<void(TCursor)> OnCursorChange;

 private:
  void SetCursor(TCursor cursor);

  platform::Prompts& prompts_;
  Authenticator authenticate_;
  TCursor cursor_ = TCursor::crDefault;
};

}  // namespace quillorn::data
