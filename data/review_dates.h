// A document's next review date from its review interval: the question whether
// to reset it now, the interval numbering (months up to 24, then years), and the
// month arithmetic. Never posts the row: the pane that edits it does.
#pragma once

#include <string>

#include "data/table.h"
#include "data/tdm.h"
#include "foundation/datetime.h"
#include "platform/prompts.h"

namespace quillorn::data {

inline constexpr char kResetReviewDateQuestion[] =
    "Would you like the new Review Date to be reset based on your new selection?\r\n"
    "If you select NO then the new Review Date will be calculated after the document is next Approved.";

// Months of an interval number: n up to 24 is n months, and above that every
// step is a year, so that 25, 26, 27 are 3, 4 and 5 years.
int ReviewIntervalMonths(int Interval);

using foundation::IncMonth;

// Interval is the chosen interval id as text, "" for "Default" and "0" for
// "None". Doc is the document's row set, on the document's row; it is put into
// edit state where a value is set.
void CalcAndSetReviewDate(Tdm& dm, platform::Prompts& Prompts, const std::string& Interval, Table& Doc);

}  // namespace quillorn::data
