// The late-bound face of every simulated host object: a table of members by
// case-insensitive name, call counting, and the host's way of failing. Never
// holds document data itself; wrappers reach the plain model through pointers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/automation.h"
#include "platform/variant.h"

namespace quillorn::hostsim {

using platform::HostError;
using platform::ObjectRef;
using platform::Variant;
using platform::VariantList;
using Args = std::span<const Variant>;

struct DocumentModel;

// Error codes the way COM reports them, so that callers that look at the code
// see what a real host would give.
inline constexpr std::int32_t kDispUnknownName = static_cast<std::int32_t>(0x80020006u);
inline constexpr std::int32_t kDispBadIndex = static_cast<std::int32_t>(0x8002000Bu);
inline constexpr std::int32_t kDispException = static_cast<std::int32_t>(0x80020009u);
inline constexpr std::int32_t kDisconnected = static_cast<std::int32_t>(0x80010108u);

// The application an object belongs to; objects hold it weakly, so that once
// the host is gone every call fails as a disconnected server's would.
class SimHost;

class SimObject : public platform::AutomationObject {
 public:
  using Getter = std::function<Variant(Args)>;
  using Setter = std::function<void(Args, const Variant&)>;

  explicit SimObject(std::string type_name) : type_name_(std::move(type_name)) {}

  Variant GetProperty(std::string_view name, Args args) override;
  void PutProperty(std::string_view name, Args args, const Variant& value) override;
  Variant CallMethod(std::string_view name, Args args) override;

  const std::string& TypeName() const noexcept { return type_name_; }
  std::uint64_t CallCount() const noexcept { return calls_; }
  void ResetCallCount() noexcept { calls_ = 0; }

  // Set by the host after construction; ties the object to an application's
  // counter and liveness, and to the document whose Saved flag a change clears.
  void Attach(std::weak_ptr<SimHost> host, std::shared_ptr<DocumentModel> doc);

 protected:
  // A property: read with `get`, written with `set` (null: read-only). Writes
  // mark the owning document changed unless `dirties` is false.
  void Prop(std::string_view name, Getter get, Setter set = nullptr, bool dirties = true);
  // A method; Delphi-style late binding calls methods and property reads alike,
  // so both reach it. `dirties`: whether a call changes the document.
  void Method(std::string_view name, Getter call, bool dirties = true);
  // The object is gone (a deleted shape): every member raises from now on.
  void MarkDeleted() noexcept { deleted_ = true; }
  void Dirty() const;
  SimHost* Host() const;
  const std::shared_ptr<DocumentModel>& Doc() const noexcept { return doc_; }

 private:
  struct Member {
    Getter get;
    Setter set;
    bool dirties_on_set = true;
    bool dirties_on_call = false;
  };
  Member& Find(std::string_view name);
  void Count();

  std::string type_name_;
  std::map<std::string, Member> members_;  // lower-case names
  std::uint64_t calls_ = 0;
  bool deleted_ = false;
  std::weak_ptr<SimHost> host_;
  std::shared_ptr<DocumentModel> doc_;
};

// Helpers for member implementations.
const Variant& Arg(Args args, std::size_t i);  // Empty when not given
bool HasArg(Args args, std::size_t i);
std::string Lower(std::string_view s);
bool SameName(std::string_view a, std::string_view b);
[[noreturn]] void RaiseBadIndex(std::string_view what);
[[noreturn]] void RaiseHost(std::string_view message);

// Call count of a simulated object behind a value; 0 for anything else.
std::uint64_t CallCountOf(const Variant& value);

}  // namespace quillorn::hostsim
