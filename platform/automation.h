// One interface for any late-bound host object: property get (with index
// arguments), property put, method call, all by name. COM's IDispatch on
// Windows, the simulated object models in hostsim/. Member names compare
// case-insensitively, as GetIDsOfNames does.
#pragma once

#include <span>
#include <string_view>

#include "platform/variant.h"

namespace quillorn::platform {

class AutomationObject : public std::enable_shared_from_this<AutomationObject> {
 public:
  virtual ~AutomationObject() = default;

  // Each raises HostError when the member is missing, an index names no item,
  // or the host refuses. Arguments of kind Empty are optional arguments left out.
  virtual Variant GetProperty(std::string_view name, std::span<const Variant> args) = 0;
  virtual void PutProperty(std::string_view name, std::span<const Variant> args, const Variant& value) = 0;
  virtual Variant CallMethod(std::string_view name, std::span<const Variant> args) = 0;
};

}  // namespace quillorn::platform
