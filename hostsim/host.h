// One simulated Office application: its open documents, the active one, the
// file behind each, and the events it fires. Never shows anything and never
// asks a user: where a real host would prompt, the caller's argument decides.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hostsim/model.h"
#include "hostsim/sim_object.h"

namespace quillorn::hostsim {

class SimHost : public std::enable_shared_from_this<SimHost> {
 public:
  explicit SimHost(HostType kind);
  virtual ~SimHost() = default;
  SimHost(const SimHost&) = delete;
  SimHost& operator=(const SimHost&) = delete;

  HostType Kind() const noexcept { return kind_; }
  ObjectRef Application();

  // Documents in the order they were opened; the active one is in front.
  const std::vector<std::shared_ptr<DocumentModel>>& Documents() const noexcept { return documents_; }
  std::shared_ptr<DocumentModel> Active() const noexcept { return active_; }
  ObjectRef Wrap(const std::shared_ptr<DocumentModel>& doc);

  // What the user or an automation call does. Each fires the host's events and
  // honours their Cancel: the return value says whether it happened.
  // Opening a path that does not exist gives a new empty document for it. A
  // document opened without a window (`visible` false) fires its open event but
  // leaves the active document where it was. An untitled open (PowerPoint's
  // Untitled) gives a new nameless copy of the file's content, even while the
  // file itself is open.
  std::shared_ptr<DocumentModel> Open(const std::string& path, bool read_only = false, bool visible = true,
                                      bool untitled = false);
  std::shared_ptr<DocumentModel> Add();
  bool Save(const std::shared_ptr<DocumentModel>& doc);
  bool SaveAs(const std::shared_ptr<DocumentModel>& doc, const std::string& path);
  bool Close(const std::shared_ptr<DocumentModel>& doc, bool save_changes = false);
  bool Print(const std::shared_ptr<DocumentModel>& doc);
  void Activate(const std::shared_ptr<DocumentModel>& doc);
  void Quit();
  bool HasQuit() const noexcept { return quit_; }

  // Application settings that automation reads and writes.
  std::string version = "16.0";
  std::string status_bar;
  bool screen_updating = true;
  bool visible = true;
  // How often Application.Activate brought the application to the front.
  int app_activations = 0;
  bool display_alerts = true;
  // Built-in commands run by their ribbon id (CommandBars.ExecuteMso), in order.
  std::vector<std::string> executed_mso;

  // Calls made into this application's objects: all of them, and per object.
  std::uint64_t TotalCalls() const noexcept { return total_calls_; }
  void ResetCallCounts();
  void CountCall() noexcept { ++total_calls_; }

  // One wrapper per model node and facet, so that an object keeps its identity
  // and its count however often automation fetches it.
  template <typename T, typename... A>
  ObjectRef Cached(const void* node, std::string_view facet, const std::shared_ptr<DocumentModel>& doc, A&&... a) {
    auto key = std::make_pair(node, std::string(facet));
    auto it = wrappers_.find(key);
    if (it != wrappers_.end()) return it->second;
    auto obj = std::make_shared<T>(std::forward<A>(a)...);
    obj->Attach(weak_from_this(), doc);
    wrappers_.emplace(std::move(key), obj);
    return obj;
  }
  // An object without identity of its own (a text range): counted, not kept.
  template <typename T, typename... A>
  ObjectRef Fresh(const std::shared_ptr<DocumentModel>& doc, A&&... a) {
    auto obj = std::make_shared<T>(std::forward<A>(a)...);
    obj->Attach(weak_from_this(), doc);
    return obj;
  }
  // Drops the wrapper of a node that is gone, after marking it deleted.
  void Forget(const void* node);

 protected:
  virtual ObjectRef MakeApplication() = 0;
  virtual ObjectRef MakeDocument(const std::shared_ptr<DocumentModel>& doc) = 0;

  // Event hooks; each host turns them into its own sink's calls.
  virtual void FireOpen(const std::shared_ptr<DocumentModel>&) {}
  virtual void FireNew(const std::shared_ptr<DocumentModel>&) {}
  // Null when the last document has gone.
  virtual void FireActivate(const std::shared_ptr<DocumentModel>&) {}
  virtual void FireDeactivate(const std::shared_ptr<DocumentModel>&) {}
  virtual void FireBeforeSave(const std::shared_ptr<DocumentModel>&, bool /*save_as_ui*/, bool& /*cancel*/) {}
  virtual void FireBeforeClose(const std::shared_ptr<DocumentModel>&, bool& /*cancel*/) {}
  virtual void FireClose(const std::shared_ptr<DocumentModel>&) {}
  virtual void FireBeforePrint(const std::shared_ptr<DocumentModel>&, bool& /*cancel*/) {}
  virtual void FireQuit() {}

 private:
  void SetActive(const std::shared_ptr<DocumentModel>& doc);
  bool WriteFile(const std::shared_ptr<DocumentModel>& doc, const std::string& path, bool save_as_ui);

  HostType kind_;
  std::vector<std::shared_ptr<DocumentModel>> documents_;
  std::shared_ptr<DocumentModel> active_;
  bool quit_ = false;
  int untitled_ = 0;
  std::uint64_t total_calls_ = 0;
  std::map<std::pair<const void*, std::string>, ObjectRef> wrappers_;
};

// File name part of a path (after the last slash or backslash).
std::string FileNameOf(std::string_view path);
std::string FolderOf(std::string_view path);

}  // namespace quillorn::hostsim
