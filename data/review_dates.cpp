#include "data/review_dates.h"

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "data/lookups.h"
#include "data/proc_name_scope.h"
#include "foundation/context.h"
#include "foundation/paths.h"

namespace quillorn::data {

namespace {

constexpr int kDefaultReviewMonths = 12;

bool ParseInt(const std::string& text, int& value) {
  const std::string trimmed = foundation::Trim(text);
  if (trimmed.empty()) return false;
  std::size_t used = 0;
  try {
    value = std::stoi(trimmed, &used);
  } catch (const std::exception&) {
    return false;
  }
  return used == trimmed.size();
}

int StrToInt(const std::string& text) {
  int value = 0;
  if (!ParseInt(text, value)) throw std::invalid_argument("'" + text + "' is not a valid integer value");
  return value;
}

void EnsureEditing(Table& Doc) {
  if (Doc.State() != DataSetState::Edit && Doc.State() != DataSetState::Insert) Doc.Edit();
}

// The interval the user left at "Default": the framework's own default wins
// over the system's.
int DefaultReviewInterval(Tdm& dm, Table& Doc) {
  const std::string framework = Doc.FieldByName("FRAMEWORK").AsString();
  const std::string own = getCodeVal(dm, "FW" + framework, "DEF_REVIEW");
  if (!own.empty()) return StrToInt(own);
  int system = kDefaultReviewMonths;
  if (!ParseInt(getCodeVal(dm, "APP_OPTION", "DEF_REVIEW"), system)) system = kDefaultReviewMonths;
  return system;
}

}  // namespace

int ReviewIntervalMonths(int Interval) { return Interval <= 24 ? Interval : (Interval - 24) * 12 + 24; }

void CalcAndSetReviewDate(Tdm& dm, platform::Prompts& Prompts, const std::string& Interval, Table& Doc) {
  foundation::ContextScope scope(dm.Context());
  ProcNameScope proc("dm.CalcAndSetReviewDate");
  if (Interval == "0") {
    if (!Doc.FieldByName("NEXT_REVIEW").IsNull()) {
      EnsureEditing(Doc);
      Doc.FieldByName("NEXT_REVIEW").Clear();
    }
    return;
  }
  if (Prompts.MessageDlg(kResetReviewDateQuestion, platform::MessageKind::Confirmation,
                         platform::Buttons::YesNo) != platform::ModalResult::mrYes) {
    return;
  }
  const int interval = Interval.empty() ? DefaultReviewInterval(dm, Doc) : StrToInt(Interval.substr(0, 2));
  const double verDate = std::floor(Doc.FieldByName("VER_DATE").AsDateTime());
  EnsureEditing(Doc);
  Doc.FieldByName("NEXT_REVIEW").SetValue(Variant::FromDateTime(IncMonth(verDate, ReviewIntervalMonths(interval))));
}

}  // namespace quillorn::data
