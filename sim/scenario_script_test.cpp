#include "sim/scenario_script.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quillorn::sim {
namespace {

using Words = std::vector<ScenarioWord>;

ScenarioWord W(std::string text) { return {std::move(text), false}; }
ScenarioWord Q(std::string text) { return {std::move(text), true}; }

TEST(ScenarioScript, SplitsLinesIntoWords) {
  struct Case {
    const char* line;
    Words words;
  };
  const Case cases[] = {
      {"host word", {W("host"), W("word")}},
      {"  tick\t20  ", {W("tick"), W("20")}},
      {"say \"two words\"", {W("say"), Q("two words")}},
      {"say \"\"", {W("say"), Q("")}},
      {R"(say "a \"quoted\" word \\ and\ttab")", {W("say"), Q("a \"quoted\" word \\ and\ttab")}},
      {R"(say "line\nbreak")", {W("say"), Q("line\nbreak")}},
      {"host word # a comment", {W("host"), W("word")}},
      // A hash inside a word or inside quotes is no comment.
      {"key word ctrl+#", {W("key"), W("word"), W("ctrl+#")}},
      {"sql \"select '#1' from FILES\"", {W("sql"), Q("select '#1' from FILES")}},
  };
  for (const Case& c : cases) {
    const auto steps = ParseScenario(c.line);
    ASSERT_EQ(steps.size(), 1u) << c.line;
    EXPECT_EQ(steps[0].words, c.words) << c.line;
    EXPECT_EQ(steps[0].line, 1);
  }
}

TEST(ScenarioScript, KeepsLineNumbersAcrossBlanksCommentsAndLineEnds) {
  const std::string text = "\xEF\xBB\xBF# heading\r\n\r\nhost word\r\n   \n# more\nquit word";
  const auto steps = ParseScenario(text);
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_EQ(steps[0].line, 3);
  EXPECT_EQ(steps[0].source, "host word");
  EXPECT_EQ(steps[1].line, 6);
  EXPECT_EQ(steps[1].words, (Words{W("quit"), W("word")}));
  EXPECT_TRUE(ParseScenario("").empty());
  EXPECT_TRUE(ParseScenario("# only\n\n").empty());
}

TEST(ScenarioScript, RejectsLinesThatDoNotSplitNamingTheLine) {
  const char* bad[] = {
      "say \"never closed",
      "say \"bad escape \\q\"",
      "say \"ends in a backslash\\",
      "say \"no blank\"after",
      "say in\"side",
  };
  for (const char* line : bad) {
    const std::string text = std::string("host word\n\n") + line + "\nquit word\n";
    try {
      ParseScenario(text);
      ADD_FAILURE() << "accepted: " << line;
    } catch (const ScenarioSyntaxError& e) {
      EXPECT_EQ(e.Line(), 3) << line;
      EXPECT_NE(std::string(e.what()).find("line 3"), std::string::npos) << e.what();
    }
  }
}

TEST(ScenarioScript, AMissingFileIsAnErrorNotAnEmptyScenario) {
  EXPECT_THROW(ReadScenarioFile("/nonexistent/quillorn/none.scn"), std::runtime_error);
}

}  // namespace
}  // namespace quillorn::sim
