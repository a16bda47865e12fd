// Simulated hosts with one open document for the automation tests, and the
// plain model behind it for looking at what the routines left. Test code only.
#pragma once

#include <memory>
#include <string>

#include "automation/file_type.h"
#include "hostsim/hosts.h"
#include "hostsim/model.h"
#include "platform/variant.h"

namespace quillorn::automation::testing {

struct OpenDoc {
  explicit OpenDoc(platform::HostType kind, const std::string& path = {})
      : host(hostsim::CreateHost(kind)), type(kind) {
    model = path.empty() ? host->Add() : host->Open(path);
    doc = platform::Variant(host->Wrap(model));
  }
  // Every later call on the document raises, as on a host that has let it go.
  void Close() { host->Close(model); }

  std::shared_ptr<hostsim::SimHost> host;
  HostType type;
  std::shared_ptr<hostsim::DocumentModel> model;
  platform::Variant doc;
};

}  // namespace quillorn::automation::testing
