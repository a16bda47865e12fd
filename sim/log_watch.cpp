#include "sim/log_watch.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include "foundation/log.h"
#include "foundation/paths.h"

namespace quillorn::sim {
namespace {

constexpr std::string_view kRecordEnd = "-----------------------------------------\r\n\r\n";

// "date time<TAB>Where<TAB>What" for a trace record; an exception record has
// ProcName and the message separated by a bare CR instead.
LogRecord SplitRecord(std::string_view body, const std::string& owner, bool except) {
  LogRecord record{owner, except, "", ""};
  while (!body.empty() && (body.back() == '\n' || body.back() == '\r')) body.remove_suffix(1);
  const std::size_t tab = body.find('\t');
  if (tab == std::string_view::npos) {
    record.what = std::string(body);
    return record;
  }
  std::string_view rest = body.substr(tab + 1);
  const std::size_t split = rest.find(except ? '\r' : '\t');
  if (split == std::string_view::npos) {
    record.what = std::string(rest);
  } else {
    record.where = std::string(rest.substr(0, split));
    record.what = std::string(rest.substr(split + 1));
  }
  return record;
}

}  // namespace

LogWatch::LogWatch(std::string folder) {
  for (const auto& [name, except] : {std::pair{foundation::kTraceFileName, false},
                                     std::pair{foundation::kExceptFileName, true}}) {
    File file{folder + name, except};
    std::error_code ec;
    const auto size = std::filesystem::file_size(foundation::PathFromUtf8(file.path), ec);
    // Whatever stood in the files before this run belongs to nobody here.
    file.position = ec ? 0 : size;
    files_.push_back(std::move(file));
  }
}

const std::string& LogWatch::Current() const {
  static const std::string kNobody;
  return stack_.empty() ? kNobody : stack_.back();
}

void LogWatch::Enter(const std::string& owner) {
  Collect();
  stack_.push_back(owner);
}

void LogWatch::Leave() {
  Collect();
  if (!stack_.empty()) stack_.pop_back();
}

void LogWatch::Collect() {
  const std::string owner = Current();
  for (File& file : files_) CollectFile(file, owner);
}

void LogWatch::CollectFile(File& file, const std::string& owner) {
  const std::filesystem::path path = foundation::PathFromUtf8(file.path);
  std::error_code ec;
  const std::uintmax_t size = std::filesystem::file_size(path, ec);
  if (ec) return;
  // A smaller file was rotated to ".bak": the new one starts from its beginning.
  if (size < file.position) {
    file.position = 0;
    file.partial.clear();
  }
  if (size == file.position) return;
  std::ifstream in(path, std::ios::binary);
  if (!in) return;
  in.seekg(static_cast<std::streamoff>(file.position));
  std::string added(static_cast<std::size_t>(size - file.position), '\0');
  in.read(added.data(), static_cast<std::streamsize>(added.size()));
  added.resize(static_cast<std::size_t>(in.gcount()));
  file.position += added.size();
  text_[owner] += added;

  file.partial += added;
  std::size_t end;
  while ((end = file.partial.find(kRecordEnd)) != std::string::npos) {
    fresh_.push_back(SplitRecord(std::string_view(file.partial).substr(0, end), owner, file.except));
    file.partial.erase(0, end + kRecordEnd.size());
  }
}

const std::string& LogWatch::TextOf(const std::string& owner) {
  Collect();
  return text_[owner];
}

bool LogWatch::Contains(const std::string& owner, std::string_view text) {
  return TextOf(owner).find(text) != std::string::npos;
}

std::vector<LogRecord> LogWatch::TakeNewRecords() {
  Collect();
  std::vector<LogRecord> out;
  out.swap(fresh_);
  return out;
}

}  // namespace quillorn::sim
