// Simulated hosts with one open document for the automation tests, and the
// plain model behind it for looking at what the routines left. Test code only.
#pragma once

#include <memory>
#include <string>

#include "automation/host_type.h"
#include "hostsim/hosts.h"
#include "hostsim/model.h"
#include "platform/variant.h"

namespace quillorn::automation::testing {

inline HostType HostTypeOf(hostsim::HostKind kind) {
  switch (kind) {
    case hostsim::HostKind::Word: return HostType::ohaWord;
    case hostsim::HostKind::Excel: return HostType::ohaExcel;
    case hostsim::HostKind::PowerPoint: return HostType::ohaPowerPoint;
    case hostsim::HostKind::Publisher: return HostType::ohaPublisher;
  }
  return HostType::ohaWord;
}

struct OpenDoc {
  explicit OpenDoc(hostsim::HostKind kind, const std::string& path = {})
      : host(hostsim::CreateHost(kind)), type(HostTypeOf(kind)) {
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
