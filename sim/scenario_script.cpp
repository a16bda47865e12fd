#include "sim/scenario_script.h"

#include <fstream>
#include <iterator>

#include "foundation/paths.h"

namespace quillorn::sim {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

std::vector<ScenarioWord> SplitLine(std::string_view line, int number) {
  std::vector<ScenarioWord> words;
  std::size_t i = 0;
  while (i < line.size()) {
    if (IsBlank(line[i])) {
      ++i;
      continue;
    }
    // A comment begins only where a word would, so "#" inside a word or in
    // quotes (SQL, texts) stays part of it.
    if (line[i] == '#') break;
    ScenarioWord word;
    if (line[i] == '"') {
      word.quoted = true;
      ++i;
      bool closed = false;
      while (i < line.size()) {
        const char c = line[i++];
        if (c == '"') {
          closed = true;
          break;
        }
        if (c == '\\') {
          if (i == line.size()) break;
          const char next = line[i++];
          if (next == '"' || next == '\\') {
            word.text += next;
          } else if (next == 'n') {
            word.text += '\n';
          } else if (next == 't') {
            word.text += '\t';
          } else {
            throw ScenarioSyntaxError(number, std::string("unknown escape \\") + next + " in quoted text");
          }
          continue;
        }
        word.text += c;
      }
      if (!closed) throw ScenarioSyntaxError(number, "quoted text is not closed");
      if (i < line.size() && !IsBlank(line[i])) {
        throw ScenarioSyntaxError(number, "a blank must follow quoted text");
      }
    } else {
      while (i < line.size() && !IsBlank(line[i])) {
        if (line[i] == '"') throw ScenarioSyntaxError(number, "a quote inside a word");
        word.text += line[i++];
      }
    }
    words.push_back(std::move(word));
  }
  return words;
}

}  // namespace

ScenarioSyntaxError::ScenarioSyntaxError(int line, const std::string& reason)
    : std::runtime_error("line " + std::to_string(line) + ": " + reason), line_(line) {}

std::vector<ScenarioStep> ParseScenario(std::string_view text) {
  std::vector<ScenarioStep> steps;
  int number = 0;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    ++number;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (number == 1 && line.starts_with("\xEF\xBB\xBF")) line.remove_prefix(3);
    std::vector<ScenarioWord> words = SplitLine(line, number);
    if (words.empty()) continue;
    steps.push_back({number, std::string(line), std::move(words)});
  }
  return steps;
}

std::vector<ScenarioStep> ReadScenarioFile(const std::string& path) {
  std::ifstream in(foundation::PathFromUtf8(path), std::ios::binary);
  if (!in) throw std::runtime_error("cannot read the scenario file " + path);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return ParseScenario(text);
}

}  // namespace quillorn::sim
