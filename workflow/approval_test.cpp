#include "workflow/approval.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillorn::workflow {
namespace {

constexpr char kFramework2[] = "select val from codes where d_type='FW2' and code='DEF_REVIEW'";
constexpr char kNoFramework[] = "select val from codes where d_type='FW' and code='DEF_REVIEW'";
constexpr char kSystem[] = "select val from codes where d_type='APP_OPTION' and code='DEF_REVIEW'";

// The record's own interval wins; without one (null or 0) the framework's
// default, then the system's; with neither the empty value is no number.
TEST(ReviewMonthsOnApproval, RecordThenFrameworkThenSystemDefault) {
  struct Case {
    std::optional<std::int32_t> interval;
    std::optional<std::int32_t> framework;
    std::map<std::string, std::string> codes;
    int months;  // -1: raises
    std::vector<std::string> asked;
  };
  const Case cases[] = {
      {.interval = 6, .framework = 2, .codes = {{kFramework2, "24"}}, .months = 6, .asked = {}},
      {.interval = std::nullopt, .framework = 2, .codes = {{kFramework2, "24"}, {kSystem, "12"}}, .months = 24,
       .asked = {kFramework2}},
      {.interval = 0, .framework = 2, .codes = {{kSystem, "12"}}, .months = 12, .asked = {kFramework2, kSystem}},
      {.interval = std::nullopt, .framework = std::nullopt, .codes = {{kSystem, "18"}}, .months = 18,
       .asked = {kNoFramework, kSystem}},
      {.interval = 0, .framework = 2, .codes = {}, .months = -1, .asked = {kFramework2, kSystem}},
  };
  for (const Case& c : cases) {
    data::DocRecord doc;
    doc.REVIEW_INTERVAL = c.interval;
    doc.FRAMEWORK = c.framework;
    std::vector<std::string> asked;
    auto cacheValue = [&](const std::string& sql) {
      asked.push_back(sql);
      const auto it = c.codes.find(sql);
      return it == c.codes.end() ? std::string() : it->second;
    };
    if (c.months < 0) {
      EXPECT_THROW(ReviewMonthsOnApproval(doc, cacheValue), std::invalid_argument);
    } else {
      EXPECT_EQ(ReviewMonthsOnApproval(doc, cacheValue), c.months);
    }
    EXPECT_EQ(asked, c.asked);
  }
}

}  // namespace
}  // namespace quillorn::workflow
