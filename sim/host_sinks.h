// The event sinks the add-in framework connects to a host: each simulated
// host's events reach the module's handlers under their own names, with Cancel
// and SaveAsUI by reference, each run as the framework runs an event (the
// instance's context current, a failure ending in AddInModuleError). Holds no
// state of its own and never decides anything for the add-in.
#pragma once

#include <memory>

namespace quillorn::addin {
class TAddInModule;
}
namespace quillorn::hostsim {
class SimHost;
}

namespace quillorn::sim {

// The connection of one host to one module; dropping it disconnects.
class HostSinks {
 public:
  virtual ~HostSinks() = default;
};

// `host` and `module` must outlive the returned connection.
std::unique_ptr<HostSinks> ConnectHostSinks(hostsim::SimHost& host, addin::TAddInModule& module);

}  // namespace quillorn::sim
