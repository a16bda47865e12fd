#include "data/review_dates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "data/data_test_support.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

using foundation::EncodeDate;
using foundation::EncodeDateTime;
using platform::ModalResult;

// One document row of framework 3 in an offline instance, the table on it.
struct Doc {
  explicit Doc(double verDate, double nextReview = 0) {
    dm.LoadFromCache(dm.tblDoc);
    dm.LoadFromCache(dm.tblCodes);
    instance.Cache("insert into DOCS (DOC_ID, FRAMEWORK, VER_DATE, NEXT_REVIEW) values (1, 3, " +
                   std::to_string(verDate) + ", " + (nextReview ? std::to_string(nextReview) : "NULL") + ")");
    dm.tblDoc.Refresh();
  }
  // Sets the interval, answering the question as given (nullopt: it must not come); the
  // next review date as y-m-d, "" for none. The time of day must be gone.
  std::string Set(const std::string& interval, std::optional<ModalResult> answer = ModalResult::mrYes) {
    platform::ScriptedPrompts prompts;
    if (answer) prompts.Answer({*answer, kResetReviewDateQuestion, platform::MessageKind::Confirmation});
    CalcAndSetReviewDate(dm, prompts, interval, dm.tblDoc);
    EXPECT_EQ(prompts.Unanswered(), 0u);
    EXPECT_TRUE(!answer || prompts.Shown().at(0).buttons == platform::Buttons::YesNo);
    const Field field = dm.tblDoc.FieldByName("NEXT_REVIEW");
    int y = 0, m = 0, d = 0;
    foundation::DecodeDate(field.AsDateTime(), y, m, d);
    EXPECT_EQ(field.AsDateTime(), std::floor(field.AsDateTime()));
    return field.IsNull() ? "" : std::to_string(y) + "-" + std::to_string(m) + "-" + std::to_string(d);
  }

  testing::Instance instance{testing::DeadPort()};
  Tdm& dm = *instance.dm;
};

TEST(CalcAndSetReviewDate, AddsTheIntervalToTheVersionDateClippedToTheMonthOrTakesTheDefault) {
  struct Case {
    const char* interval;
    double verDate = EncodeDate(2020, 1, 31);
    const char* expected;
    std::vector<std::pair<const char*, const char*>> codes = {};  // DEF_REVIEW by D_TYPE
    double stored = 0;                                            // the date before
    std::optional<ModalResult> answer = ModalResult::mrYes;
    DataSetState state = DataSetState::Edit;
  };
  const double june = EncodeDate(2022, 6, 15);
  const std::vector<Case> cases = {
      {.interval = "26", .verDate = EncodeDateTime(2020, 3, 31, 10, 30, 0, 0), .expected = "2024-3-31"},
      {.interval = "1", .verDate = EncodeDate(2021, 1, 31), .expected = "2021-2-28"},
      {.interval = "1", .expected = "2020-2-29"},
      {.interval = "25", .verDate = EncodeDateTime(2020, 2, 29, 23, 59, 0, 0), .expected = "2023-2-28"},
      {.interval = "3", .verDate = EncodeDate(2019, 11, 30), .expected = "2020-2-29"},
      // "Default": the framework's own interval wins over the system's, and twelve months over nothing.
      {.interval = "", .expected = "2024-1-31", .codes = {{"FW3", "26"}, {"APP_OPTION", "7"}}},
      {.interval = "", .expected = "2020-8-31", .codes = {{"FW4", "27"}, {"APP_OPTION", "7"}}},
      {.interval = "", .expected = "2021-1-31", .codes = {{"APP_OPTION", "yearly"}}},
      {.interval = "", .expected = "2021-1-31"},
      // "None" clears without asking; No keeps the date; nothing to change: nothing touched.
      {.interval = "0", .expected = "", .stored = june, .answer = std::nullopt},
      {.interval = "0", .expected = "", .answer = std::nullopt, .state = DataSetState::Browse},
      {.interval = "6", .expected = "2022-6-15", .stored = june, .answer = ModalResult::mrNo,
       .state = DataSetState::Browse},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.interval) + " " + c.expected);
    Doc doc(c.verDate, c.stored);
    for (const auto& [dtype, val] : c.codes) {
      doc.instance.Cache(std::string("insert into CODES values ('") + dtype + "', 'DEF_REVIEW', '" + val + "')");
    }
    doc.dm.tblCodes.Refresh();
    EXPECT_EQ(doc.Set(c.interval, c.answer), c.expected);
    EXPECT_EQ(doc.dm.tblDoc.State(), c.state);
  }
}

}  // namespace
}  // namespace quillorn::data
