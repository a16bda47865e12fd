#include "sim/scenario_runner.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "foundation/temp_folder_for_test.h"
#include "sim/scenario_script.h"
#include "sim/simulation.h"

namespace quillorn::sim {
namespace {

struct Played {
  ScenarioResult result;
  std::string narration;
};

class ScenarioRunnerTest : public ::testing::Test {
 protected:
  Played Play(const std::string& script) {
    std::ostringstream out;
    Simulation sim(folder_.Path().string());
    ScenarioRunner runner(sim, out, "test.scn");
    Played played{runner.Run(ParseScenario(script)), ""};
    played.narration = out.str();
    return played;
  }

  foundation::testing::TempFolder folder_;
};

TEST_F(ScenarioRunnerTest, StopsAtTheFirstFailedStepWithItsLineAndStatus) {
  struct Case {
    const char* script;
    int status;
    int line;
    const char* message;  // a part of the message
  };
  const Case cases[] = {
      {"host word\n\nexpect caption word \"Quillorn Toolbox\"\nsql \"delete from FILES\"\n", kScenarioFailed, 3,
       "has no task pane"},
      {"host word\nexpect sql \"select count(*) from FILES\" = 1\n", kScenarioFailed, 2, "but it gives 0"},
      {"host word\nexpect log word \"no such line\"\n", kScenarioFailed, 2, "there is none"},
      {"host word\nexpect reachable word true\n", kScenarioFailed, 2, "not yet learnt"},
      {"expect log word \"x\"\n", kScenarioFailed, 1, "no host named word"},
      {"server stop\n", kScenarioFailed, 1, "not running"},
      {"host word\nquit excel\n", kScenarioFailed, 2, "no host named excel"},
      {"sql \"select nonsense from nowhere\"\n", kScenarioFailed, 1, "the cache refused"},
      {"host word\n# fine so far\nfrobnicate\n", kScenarioBadScript, 3, "unknown command frobnicate"},
      {"host wordperfect\n", kScenarioBadScript, 1, "unknown host"},
      {"tick 1.2345\n", kScenarioBadScript, 1, "at most three decimals"},
      {"tick -1\n", kScenarioBadScript, 1, "seconds must be a number"},
      {"host word\nkey word ctrl+meta+space\n", kScenarioBadScript, 2, "unknown modifier"},
      {"expect sql \"select 1\" 1\n", kScenarioBadScript, 1, "usage"},
      {"sql \"select ${word.pid}\"\n", kScenarioBadScript, 1, "unknown value"},
      {"sql \"select ${word.session}\"\n", kScenarioFailed, 1, "has no value"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.script);
    const Played played = Play(c.script);
    EXPECT_EQ(played.result.status, c.status);
    EXPECT_EQ(played.result.line, c.line);
    EXPECT_NE(played.result.message.find("test.scn:" + std::to_string(c.line) + ": "), std::string::npos)
        << played.result.message;
    EXPECT_NE(played.result.message.find(c.message), std::string::npos) << played.result.message;
    EXPECT_NE(played.narration.find("FAILED at line " + std::to_string(c.line)), std::string::npos);
  }
}

TEST_F(ScenarioRunnerTest, AFailedStepRunsNothingAfterIt) {
  const Played played = Play(
      "host word\n"
      "expect sql \"select count(*) from FILES\" = 7\n"
      "sql \"insert into FILES (DOC_ID, FILENAME) values (1, 'late.docx')\"\n");
  ASSERT_EQ(played.result.status, kScenarioFailed);
  // A second run over the same folder finds the cache as the first left it.
  // A quoted "null" is the text, a bare one the missing value.
  const Played check = Play(
      "expect sql \"select count(*) from FILES\" = 0\n"
      "expect sql \"select 'null'\" = \"null\"\n"
      "expect sql \"select FILENAME from FILES where DOC_ID=3\" = null\n");
  EXPECT_EQ(check.result.status, kScenarioPassed) << check.narration;
}

TEST_F(ScenarioRunnerTest, TheTwentySecondPingFindsARestartedServerOnlyWhenItFires) {
  const Played played = Play(
      "server start\n"
      "launcher announce 1003 Register.xlsx\n"
      "open Register.xlsx\n"
      "expect reachable excel true\n"
      "server stop\n"
      "save Register.xlsx\n"
      "expect caption excel \"Quillorn Toolbox (Offline)\"\n"
      "server start\n"
      "tick 19.999\n"
      "expect reachable excel false\n"
      "tick 0.001\n"
      "expect reachable excel true\n"
      "expect caption excel \"Quillorn Toolbox\"\n");
  EXPECT_EQ(played.result.status, kScenarioPassed) << played.narration;
  EXPECT_NE(played.narration.find("excel finds the server again."), std::string::npos) << played.narration;
}

TEST_F(ScenarioRunnerTest, PromptsMustBeAnsweredAndAnswersTaken) {
  struct Case {
    const char* script;
    int status;
    const char* message;  // a part of the failure or the narration
  };
  const Case cases[] = {
      // The save question with nobody to answer it stops the run.
      {"server start\nlauncher announce 1001 a.docx\nopen a.docx\nedit a.docx \"x\"\nclose a.docx\n",
       kScenarioFailed, "no answer for it"},
      // An answer that no prompt takes is a failure too.
      {"server start\nlauncher announce 1001 a.docx\nopen a.docx\nanswer yes\nclose a.docx\n", kScenarioFailed,
       "no prompt came"},
      {"answer maybe\n", kScenarioBadScript, "usage"},
      {"dialog word set edLogin\n", kScenarioBadScript, "usage"},
      {"dialog press Ok extra\n", kScenarioBadScript, "usage"},
      {"launcher announce 1001 a.docx\nopen a.docx\nexpect stamp a.docx \"DRAFT\"\n", kScenarioFailed,
       "without one"},
      {"server start\nlauncher announce 1001 a.docx read-only\nopen a.docx\nedit a.docx \"x\"\n", kScenarioFailed,
       "protected"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.script);
    const Played played = Play(c.script);
    EXPECT_EQ(played.result.status, c.status) << played.narration;
    EXPECT_NE((played.result.message + played.narration).find(c.message), std::string::npos) << played.narration;
  }
}

TEST(ScenarioText, ValuesAndTimesAsTheNarrationWritesThem) {
  using platform::Variant;
  EXPECT_EQ(ValueText(Variant::Null()), "null");
  EXPECT_EQ(ValueText(Variant(true)), "true");
  EXPECT_EQ(ValueText(Variant(std::int32_t{-42})), "-42");
  EXPECT_EQ(ValueText(Variant(2.0)), "2");
  EXPECT_EQ(ValueText(Variant(0.25)), "0.25");
  EXPECT_EQ(ValueText(Variant(std::string("a b"))), "a b");
  EXPECT_EQ(ElapsedText(0), "      0.000s");
  EXPECT_EQ(ElapsedText(20001), "     20.001s");
}

}  // namespace
}  // namespace quillorn::sim
