#include "addin/office_version.h"

#include <gtest/gtest.h>

#include "addin/backstage_adaptation.h"
#include "addin/command_surface.h"

namespace quillorn::addin {
namespace {

TEST(OfficeVersion, FirstTwoCharactersAsAYear) {
  const struct {
    const char* version;
    int year;
  } cases[] = {
      {"12.0.6425.1000", 2007}, {"13.0", 2013}, {"14.0", 2010}, {"15.0", 2013}, {"16.0", 2016},
      {"11.0", 2016},           {"", 2010},     {"9.0", 2010},  {"1", 2016},    {"1x.0", 2010},
  };
  for (const auto& c : cases) EXPECT_EQ(OfficeVersionFromString(c.version), c.year) << '"' << c.version << '"';
}

TEST(OfficeVersion, InsertGroupPositionAndPowerPointName) {
  const struct {
    HostType type;
    int year;
    std::optional<std::string> position;
  } cases[] = {
      {HostType::ohaWord, 2016, std::nullopt},
      {HostType::ohaExcel, 2007, "GroupInsertTablesExcel"},
      {HostType::ohaPowerPoint, 2010, "GroupInsertTables"},
      {HostType::ohaPowerPoint, 2013, "GroupSlides2"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(InsertGroupPosition(c.type, c.year), c.position) << static_cast<int>(c.type) << " " << c.year;
  }
  EXPECT_EQ(PowerPointAppName(2013), "Microsoft PowerPoint");
  EXPECT_EQ(PowerPointAppName(2016), "PowerPoint");
}

// Every property the adaptation touches, read back after adapting a fresh surface
// for each generation; "design" rows must still hold what the definition says.
TEST(BackstageAdaptation, EveryRowForEachGeneration) {
  CommandSurface design;
  enum Field { IdMso, ImageMso, InsertBefore };
  struct Row {
    const char* what;
    std::initializer_list<int> path;
    Field field;
    const char* from2013;
    const char* below2013;  // null: the design value stays
  };
  const Row rows[] = {
      {"tab 2", {2}, IdMso, "TabPublish", "TabShare"},
      {"task form group", {2, 0}, IdMso, "PublishGroup", "GroupShare"},
      {"first category", {2, 0, 0}, IdMso, "FileTypes", nullptr},
      {"first task", {2, 0, 0, 0}, ImageMso, "CheckOutFile", "CheckOutFile"},
      {"third task", {2, 0, 0, 2}, IdMso, "FileTypeChange", nullptr},
      {"tab 3", {3}, IdMso, "TabSave", ""},
      {"first group of tab 3", {3, 0}, InsertBefore, "SaveGroup", ""},
      {"tab 4", {4}, IdMso, "TabShare", nullptr},
  };
  auto read = [](const Control& c, Field f) {
    return f == IdMso ? c.idMso : f == ImageMso ? c.imageMso : c.insertBeforeIdMso;
  };
  for (int year : {2007, 2010, 2013, 2016}) {
    CommandSurface s;
    // Tab 3 and its group carry something to clear, so that "empty" is seen to be written.
    s.At("BackstageView", {3}).idMso = "Stale";
    s.At("BackstageView", {3, 0}).insertBeforeIdMso = "Stale";
    AdaptBackstage(s, year);
    for (const Row& r : rows) {
      const std::string got = read(s.At("BackstageView", r.path), r.field);
      const char* want = year >= 2013 ? r.from2013 : r.below2013;
      const std::string expected = want != nullptr ? want : read(design.At("BackstageView", r.path), r.field);
      EXPECT_EQ(got, expected) << r.what << " in " << year;
    }
    EXPECT_EQ(s.At("BackstageView", {0}).imageIndex, year >= 2013 ? -1 : 1) << year;
    // Nothing else moves: the print tab and the other roots keep their design.
    EXPECT_EQ(s.At("BackstageView", {1}).idMso, "TabPrint");
    EXPECT_EQ(s.At("InsertTab", {0}).insertBeforeIdMso, "GroupInsertPages");
  }
}

}  // namespace
}  // namespace quillorn::addin
