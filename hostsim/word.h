// A simulated Word: Application, Documents, documents with sections, headers,
// footers, story ranges, fields, shapes, protection and revisions, and the
// Word event set. Never prompts; what Word would ask is an argument here.
#pragma once

#include <memory>

#include "hostsim/events.h"
#include "hostsim/host.h"

namespace quillorn::hostsim {

class WordHost : public SimHost {
 public:
  static std::shared_ptr<WordHost> Create() { return std::shared_ptr<WordHost>(new WordHost()); }
  void SetEventSink(WordEvents* sink) noexcept { sink_ = sink; }

 protected:
  ObjectRef MakeApplication() override;
  ObjectRef MakeDocument(const std::shared_ptr<DocumentModel>& doc) override;
  void FireOpen(const std::shared_ptr<DocumentModel>& doc) override;
  void FireNew(const std::shared_ptr<DocumentModel>& doc) override;
  void FireActivate(const std::shared_ptr<DocumentModel>& doc) override;
  void FireDeactivate(const std::shared_ptr<DocumentModel>& doc) override;
  void FireBeforeSave(const std::shared_ptr<DocumentModel>& doc, bool save_as_ui, bool& cancel) override;
  void FireBeforeClose(const std::shared_ptr<DocumentModel>& doc, bool& cancel) override;
  void FireBeforePrint(const std::shared_ptr<DocumentModel>& doc, bool& cancel) override;
  void FireQuit() override;

 private:
  WordHost() : SimHost(HostType::ohaWord) {}
  WordEvents* sink_ = nullptr;
};

}  // namespace quillorn::hostsim
