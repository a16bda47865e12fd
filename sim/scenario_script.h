// A scenario file read into steps: one command per line, words separated by
// blanks, "quoted text" with \" and \\ inside, # comments. Knows no command's
// meaning; it never runs anything and rejects a line it cannot split.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::sim {

struct ScenarioWord {
  std::string text;
  bool quoted = false;  // written in quotes: taken as it stands, never as a keyword
  bool operator==(const ScenarioWord&) const = default;
};

struct ScenarioStep {
  int line = 0;            // 1-based line of the file
  std::string source;      // the line as written, without its line end
  std::vector<ScenarioWord> words;
};

// A line that does not split; what() names the line.
class ScenarioSyntaxError : public std::runtime_error {
 public:
  ScenarioSyntaxError(int line, const std::string& reason);
  int Line() const noexcept { return line_; }

 private:
  int line_;
};

// Blank and comment-only lines give no step.
std::vector<ScenarioStep> ParseScenario(std::string_view text);
std::vector<ScenarioStep> ReadScenarioFile(const std::string& path);

}  // namespace quillorn::sim
