#include "platform/faulty_files.h"

#include "foundation/paths.h"

namespace quillorn::platform {

namespace {

const char* KindName(FileFault::Kind kind) {
  switch (kind) {
    case FileFault::Kind::WriteRefused: return "WriteRefused";
    case FileFault::Kind::DiskFull: return "DiskFull";
    case FileFault::Kind::Vanished: return "Vanished";
    case FileFault::Kind::DeleteRefused: return "DeleteRefused";
  }
  return "?";
}

}  // namespace

const FileFault* FaultyFiles::Take(FileFault::Kind kind, std::string_view path) {
  const std::string name = foundation::ExtractFileName(path);
  for (FileFault& fault : faults_) {
    if (fault.kind != kind || fault.times == 0 || name.find(fault.nameContains) == std::string::npos) continue;
    if (fault.times > 0) --fault.times;
    taken_.push_back(std::string(KindName(kind)) + " " + name);
    return &fault;
  }
  return nullptr;
}

bool FaultyFiles::ReadFile(std::string_view path, std::string& content) {
  if (Take(FileFault::Kind::Vanished, path) != nullptr) inner_.DeleteFile(path);
  return inner_.ReadFile(path, content);
}

bool FaultyFiles::DeleteFile(std::string_view path) {
  if (Take(FileFault::Kind::DeleteRefused, path) != nullptr) return false;
  return inner_.DeleteFile(path);
}

bool FaultyFiles::WriteFile(std::string_view path, std::string_view content) {
  if (Take(FileFault::Kind::WriteRefused, path) != nullptr) return false;
  if (Take(FileFault::Kind::DiskFull, path) != nullptr) {
    inner_.WriteFile(path, content.substr(0, content.size() / 2));
    return false;
  }
  return inner_.WriteFile(path, content);
}

}  // namespace quillorn::platform
