// The life of documents in a simulated host. The order of events follows the
// real hosts: open, then activate; before-close, then the close itself, then
// the next document's activation.
#include "hostsim/host.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "hostsim/doc_file.h"
#include "hostsim/printing.h"

namespace quillorn::hostsim {

std::string FileNameOf(std::string_view path) {
  auto pos = path.find_last_of("/\\");
  return std::string(pos == std::string_view::npos ? path : path.substr(pos + 1));
}

std::string FolderOf(std::string_view path) {
  auto pos = path.find_last_of("/\\");
  return pos == std::string_view::npos ? std::string() : std::string(path.substr(0, pos));
}

namespace {

// What a new document is called before its first save, as each host names it.
std::string UntitledBase(HostType kind) {
  switch (kind) {
    case HostType::ohaExcel: return "Book";
    case HostType::ohaPowerPoint: return "Presentation";
    case HostType::ohaPublisher: return "Publication";
    case HostType::ohaWord: break;
  }
  return "Document";
}

}  // namespace

SimHost::SimHost(HostType kind) : kind_(kind) {}

ObjectRef SimHost::Application() {
  if (quit_) throw HostError("The object invoked has disconnected from its clients.", kDisconnected);
  return MakeApplication();
}

ObjectRef SimHost::Wrap(const std::shared_ptr<DocumentModel>& doc) { return MakeDocument(doc); }

void SimHost::ResetCallCounts() {
  total_calls_ = 0;
  for (auto& [key, obj] : wrappers_) {
    if (auto* sim = dynamic_cast<SimObject*>(obj.get())) sim->ResetCallCount();
  }
}

void SimHost::Forget(const void* node) {
  for (auto it = wrappers_.begin(); it != wrappers_.end();) {
    it = it->first.first == node ? wrappers_.erase(it) : std::next(it);
  }
}

void SimHost::SetActive(const std::shared_ptr<DocumentModel>& doc) {
  if (active_ == doc) return;
  if (active_) FireDeactivate(active_);
  active_ = doc;
  if (active_) FireActivate(active_);
}

std::shared_ptr<DocumentModel> SimHost::Open(const std::string& given, bool read_only, bool visible, bool untitled) {
  // FullName is always a full path, as a host reports it.
  std::error_code ec;
  const std::filesystem::path full = std::filesystem::absolute(given, ec);
  const std::string path = ec ? given : full.lexically_normal().string();
  for (const auto& d : documents_) {
    if (!untitled && d->full_name == path) {
      SetActive(d);
      return d;
    }
  }
  std::shared_ptr<DocumentModel> doc;
  try {
    doc = LoadDocumentFile(path, kind_);
  } catch (const std::exception& e) {
    throw HostError(e.what(), kDispException);
  }
  if (untitled) {
    doc->full_name.clear();
    doc->untitled_name = UntitledBase(kind_) + std::to_string(++untitled_);
  }
  doc->read_only = read_only;
  doc->saved = true;
  documents_.push_back(doc);
  // A host shows the new window before it reports the open, so that the active
  // document read inside the open event is this one; the activation events
  // follow the open as they do in the hosts.
  const std::shared_ptr<DocumentModel> previous = active_;
  if (visible) active_ = doc;
  FireOpen(doc);
  // The add-in may close the document, or quit the host, inside its open event.
  if (quit_ || doc->closed) return doc;
  if (visible) {
    active_ = previous;
    SetActive(doc);
  }
  return doc;
}

std::shared_ptr<DocumentModel> SimHost::Add() {
  auto doc = NewDocumentModel(kind_);
  doc->untitled_name = UntitledBase(kind_) + std::to_string(++untitled_);
  documents_.push_back(doc);
  FireNew(doc);
  SetActive(doc);
  return doc;
}

bool SimHost::WriteFile(const std::shared_ptr<DocumentModel>& doc, const std::string& path, bool save_as_ui) {
  bool cancel = false;
  FireBeforeSave(doc, save_as_ui, cancel);
  if (cancel) return false;
  try {
    SaveDocumentFile(*doc, path);
  } catch (const std::exception& e) {
    throw HostError(e.what(), kDispException);
  }
  doc->full_name = path;
  doc->untitled_name.clear();
  doc->saved = true;
  doc->ever_saved = true;
  doc->read_only = false;
  return true;
}

bool SimHost::Save(const std::shared_ptr<DocumentModel>& doc) {
  if (doc->full_name.empty() || doc->read_only) {
    // A host asks for a name here; the simulator has nobody to ask.
    bool cancel = false;
    FireBeforeSave(doc, true, cancel);
    if (cancel) return false;
    throw HostError(doc->read_only ? "This document is read-only and cannot be saved under its name."
                                   : "The document has no file name yet; use SaveAs.",
                    kDispException);
  }
  return WriteFile(doc, doc->full_name, false);
}

bool SimHost::SaveAs(const std::shared_ptr<DocumentModel>& doc, const std::string& path) {
  if (path.empty()) throw HostError("SaveAs needs a file name.", kDispException);
  return WriteFile(doc, path, true);
}

bool SimHost::Close(const std::shared_ptr<DocumentModel>& doc, bool save_changes) {
  auto it = std::find(documents_.begin(), documents_.end(), doc);
  if (it == documents_.end()) return false;
  bool cancel = false;
  FireBeforeClose(doc, cancel);
  if (cancel) return false;
  if (save_changes && !doc->saved && !Save(doc)) return false;
  FireClose(doc);
  it = std::find(documents_.begin(), documents_.end(), doc);
  if (it == documents_.end()) return true;  // a handler closed it meanwhile
  documents_.erase(it);
  if (active_ == doc) FireDeactivate(doc);
  doc->closed = true;
  if (active_ == doc) {
    active_ = nullptr;
    if (!documents_.empty()) {
      SetActive(documents_.back());
    } else {
      FireActivate(nullptr);
    }
  }
  return true;
}

bool SimHost::Print(const std::shared_ptr<DocumentModel>& doc) {
  bool cancel = false;
  FireBeforePrint(doc, cancel);
  if (cancel) return false;
  prints_.push_back({doc->full_name, CloneDocument(*doc)});
  return true;
}

void SimHost::Activate(const std::shared_ptr<DocumentModel>& doc) {
  if (std::find(documents_.begin(), documents_.end(), doc) == documents_.end()) {
    throw HostError("The document is not open.", kDispException);
  }
  SetActive(doc);
}

void SimHost::Quit() {
  if (quit_) return;
  FireQuit();
  for (auto& d : documents_) d->closed = true;
  documents_.clear();
  active_ = nullptr;
  quit_ = true;
  wrappers_.clear();
}

}  // namespace quillorn::hostsim
