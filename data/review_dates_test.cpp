#include "data/review_dates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "data/catalogue_test_support.h"
#include "platform/scripted_prompts.h"

namespace quillorn::data {
namespace {

using foundation::EncodeDate;
using foundation::EncodeDateTime;
using platform::MessageKind;
using platform::ModalResult;
using platform::ScriptedPrompts;
using testing::DmInstance;

struct Doc {
  DmInstance instance{testing::DeadPort()};
  Tdm& dm = *instance.dm;

  // One document row of framework 3, on the row.
  explicit Doc(double verDate, const char* nextReview = "NULL") {
    dm.LoadFromCache(dm.tblDoc);
    dm.LoadFromCache(dm.tblCodes);
    EXPECT_TRUE(dm.cacheExecSQL("insert into DOCS (DOC_ID, FRAMEWORK, VER_DATE, NEXT_REVIEW) values (1, 3, " +
                                std::to_string(verDate) + ", " + nextReview + ")"));
    dm.tblDoc.Refresh();
    dm.tblDoc.First();
  }
  void Code(const char* dtype, const char* val) {
    EXPECT_TRUE(dm.cacheExecSQL(std::string("insert into CODES values ('") + dtype + "', 'DEF_REVIEW', '" + val +
                                "')"));
    dm.tblCodes.Refresh();
  }
  Field NextReview() { return dm.tblDoc.FieldByName("NEXT_REVIEW"); }
};

std::string Ymd(double date) {
  int y = 0, m = 0, d = 0;
  foundation::DecodeDate(date, y, m, d);
  return std::to_string(y) + "-" + std::to_string(m) + "-" + std::to_string(d);
}

// Answers the question with Yes after checking its words and buttons.
ScriptedPrompts YesToTheQuestion() {
  ScriptedPrompts prompts;
  prompts.Answer({ModalResult::mrYes, kResetReviewDateQuestion, MessageKind::Confirmation});
  return prompts;
}

TEST(CalcAndSetReviewDate, AddsTheIntervalToTheVersionDateClippedToTheMonth) {
  struct Case {
    const char* interval;
    double verDate;
    const char* expected;
  };
  const std::vector<Case> cases = {
      {"26", EncodeDateTime(2020, 3, 31, 10, 30, 0, 0), "2024-3-31"},
      {"1", EncodeDate(2021, 1, 31), "2021-2-28"},
      {"1", EncodeDate(2020, 1, 31), "2020-2-29"},
      {"12", EncodeDate(2020, 2, 29), "2021-2-28"},
      {"25", EncodeDateTime(2020, 2, 29, 23, 59, 0, 0), "2023-2-28"},
      {"27", EncodeDate(2019, 8, 31), "2024-8-31"},
      {"24", EncodeDate(2019, 12, 31), "2021-12-31"},
      {"3", EncodeDate(2019, 11, 30), "2020-2-29"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.interval);
    Doc doc(c.verDate);
    ScriptedPrompts prompts = YesToTheQuestion();
    CalcAndSetReviewDate(doc.dm, prompts, c.interval, doc.dm.tblDoc);
    EXPECT_EQ(prompts.Unanswered(), 0u);
    EXPECT_EQ(prompts.Shown().at(0).buttons, platform::Buttons::YesNo);
    EXPECT_EQ(Ymd(doc.NextReview().AsDateTime()), c.expected);
    // The date only: the version's time of day stays behind.
    EXPECT_EQ(doc.NextReview().AsDateTime(), std::floor(doc.NextReview().AsDateTime()));
    EXPECT_EQ(doc.dm.tblDoc.State(), DataSetState::Edit);
  }
}

TEST(CalcAndSetReviewDate, NoneClearsWithoutAskingAndNoKeepsTheDate) {
  const double ver = EncodeDate(2021, 6, 15);
  {
    Doc doc(ver, std::to_string(EncodeDate(2022, 6, 15)).c_str());
    ScriptedPrompts prompts;  // any question fails the test
    CalcAndSetReviewDate(doc.dm, prompts, "0", doc.dm.tblDoc);
    EXPECT_TRUE(doc.NextReview().IsNull());
    EXPECT_TRUE(prompts.Shown().empty());
  }
  {
    Doc doc(ver);
    ScriptedPrompts prompts;
    CalcAndSetReviewDate(doc.dm, prompts, "0", doc.dm.tblDoc);
    EXPECT_EQ(doc.dm.tblDoc.State(), DataSetState::Browse);  // nothing to clear, nothing touched
  }
  {
    Doc doc(ver, std::to_string(EncodeDate(2022, 6, 15)).c_str());
    ScriptedPrompts prompts;
    prompts.Answer({ModalResult::mrNo, kResetReviewDateQuestion, MessageKind::Confirmation});
    CalcAndSetReviewDate(doc.dm, prompts, "6", doc.dm.tblDoc);
    EXPECT_EQ(Ymd(doc.NextReview().AsDateTime()), "2022-6-15");
    EXPECT_EQ(doc.dm.tblDoc.State(), DataSetState::Browse);
  }
}

TEST(CalcAndSetReviewDate, DefaultTakesTheFrameworksIntervalThenTheSystemsThenTwelve) {
  struct Case {
    const char* name;
    const char* framework;  // FW3's DEF_REVIEW, nullptr for no row
    const char* system;     // APP_OPTION's
    const char* expected;   // from 2020-01-31
  };
  const std::vector<Case> cases = {
      {"framework wins", "26", "7", "2024-1-31"},
      {"framework of another number doesn't count", nullptr, "7", "2020-8-31"},
      {"system interval", nullptr, "1", "2020-2-29"},
      {"system not a number", nullptr, "yearly", "2021-1-31"},
      {"nothing set", nullptr, nullptr, "2021-1-31"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Doc doc(EncodeDate(2020, 1, 31));
    if (c.framework) doc.Code("FW3", c.framework);
    else doc.Code("FW4", "27");
    if (c.system) doc.Code("APP_OPTION", c.system);
    ScriptedPrompts prompts = YesToTheQuestion();
    CalcAndSetReviewDate(doc.dm, prompts, "", doc.dm.tblDoc);
    EXPECT_EQ(Ymd(doc.NextReview().AsDateTime()), c.expected);
  }
}

// The months a pane entry's own words promise: "1 month", "N months", "N years".
int MonthsOfDescription(const std::string& descript) {
  const int n = std::stoi(descript);
  return descript.find("year") != std::string::npos ? 12 * n : n;
}

TEST(CalcAndSetReviewDate, EveryIntervalOfThePaneMeansWhatItSays) {
  DmInstance intervals(testing::DeadPort());
  Table& list = intervals.dm->tblReviewIntervals;
  ASSERT_EQ(list.RecordCount(), 29);
  const double ver = EncodeDate(2019, 8, 31);
  int checked = 0;
  for (list.First(); !list.Eof(); list.Next()) {
    const std::string descript = list.FieldByName("descript").AsString();
    SCOPED_TRACE(descript);
    if (list.FieldByName("id").IsNull()) {
      EXPECT_EQ(descript, "Default");
      continue;
    }
    const std::string id = list.FieldByName("id").AsString();
    Doc doc(ver, "45000");
    ScriptedPrompts prompts;
    if (id == "0") {
      EXPECT_EQ(descript, "None");
      CalcAndSetReviewDate(doc.dm, prompts, id, doc.dm.tblDoc);
      EXPECT_TRUE(doc.NextReview().IsNull());
      continue;
    }
    prompts = YesToTheQuestion();
    CalcAndSetReviewDate(doc.dm, prompts, id, doc.dm.tblDoc);
    const int months = MonthsOfDescription(descript);
    EXPECT_EQ(ReviewIntervalMonths(std::stoi(id)), months);
    const int total = 2019 * 12 + 7 + months;
    const int year = total / 12, month = total % 12 + 1;
    const int day = std::min(31, foundation::DaysInMonth(year, month));
    EXPECT_EQ(Ymd(doc.NextReview().AsDateTime()),
              std::to_string(year) + "-" + std::to_string(month) + "-" + std::to_string(day));
    ++checked;
  }
  EXPECT_EQ(checked, 27);
}

}  // namespace
}  // namespace quillorn::data
