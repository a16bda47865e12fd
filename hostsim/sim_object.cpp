// Member dispatch of simulated objects: one lookup, one count, one liveness check.
#include "hostsim/sim_object.h"

#include <cctype>

#include "hostsim/host.h"
#include "hostsim/model.h"

namespace quillorn::hostsim {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool SameName(std::string_view a, std::string_view b) { return Lower(a) == Lower(b); }

const Variant& Arg(Args args, std::size_t i) {
  static const Variant kMissing;
  return i < args.size() ? args[i] : kMissing;
}

bool HasArg(Args args, std::size_t i) { return i < args.size() && !args[i].IsEmpty(); }

void RaiseBadIndex(std::string_view what) {
  throw HostError("The requested member of the collection does not exist (" + std::string(what) + ")", kDispBadIndex);
}

void RaiseHost(std::string_view message) { throw HostError(std::string(message), kDispException); }

std::uint64_t CallCountOf(const Variant& value) {
  if (!value.IsObject()) return 0;
  auto* sim = dynamic_cast<SimObject*>(value.AsObject().get());
  return sim ? sim->CallCount() : 0;
}

void SimObject::Attach(std::weak_ptr<SimHost> host, std::shared_ptr<DocumentModel> doc) {
  host_ = std::move(host);
  doc_ = std::move(doc);
}

void SimObject::Prop(std::string_view name, Getter get, Setter set, bool dirties) {
  Member& m = members_[Lower(name)];
  m.get = std::move(get);
  m.set = std::move(set);
  m.dirties_on_set = dirties;
  m.dirties_on_call = false;
}

void SimObject::Method(std::string_view name, Getter call, bool dirties) {
  Member& m = members_[Lower(name)];
  m.get = std::move(call);
  m.set = nullptr;
  m.dirties_on_call = dirties;
}

SimHost* SimObject::Host() const {
  auto host = host_.lock();
  return host.get();
}

void SimObject::Dirty() const {
  if (doc_) doc_->MarkChanged();
}

void SimObject::Count() {
  auto host = host_.lock();
  if (!host || host->HasQuit()) {
    throw HostError("The object invoked has disconnected from its clients.", kDisconnected, type_name_);
  }
  ++calls_;
  host->CountCall();
  if (deleted_ || (doc_ && doc_->closed && type_name_ != "Application")) {
    throw HostError("The object has been deleted.", kDispException, type_name_);
  }
}

SimObject::Member& SimObject::Find(std::string_view name) {
  auto it = members_.find(Lower(name));
  if (it == members_.end()) {
    throw HostError("Unknown name: " + type_name_ + "." + std::string(name), kDispUnknownName, type_name_);
  }
  return it->second;
}

Variant SimObject::GetProperty(std::string_view name, Args args) {
  Count();
  Member& m = Find(name);
  if (!m.get) throw HostError("Property is write-only: " + std::string(name), kDispException, type_name_);
  Variant result = m.get(args);
  if (m.dirties_on_call) Dirty();
  return result;
}

void SimObject::PutProperty(std::string_view name, Args args, const Variant& value) {
  Count();
  Member& m = Find(name);
  if (!m.set) throw HostError("Property is read-only: " + std::string(name), kDispException, type_name_);
  m.set(args, value);
  if (m.dirties_on_set) Dirty();
}

Variant SimObject::CallMethod(std::string_view name, Args args) { return GetProperty(name, args); }

}  // namespace quillorn::hostsim
