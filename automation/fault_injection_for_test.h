// A late-bound object that passes every member on to a real one and wraps what
// comes back, so that one chosen member, anywhere below it, raises as a busy or
// refusing host would. Test code only; never used by the client.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/automation.h"
#include "platform/variant.h"

namespace quillorn::automation::testing {

struct Fault {
  std::string member;  // case-sensitive, as the code under test spells it
  enum class On { Get, Put, Any } on = On::Any;
  int skip = 0;   // calls that pass before the first raise
  int times = 1;  // how many raises, -1 for always
  std::string message = "Call was rejected by callee.";
  int raised = 0;
};

class FaultyObject : public platform::AutomationObject {
 public:
  FaultyObject(platform::ObjectRef inner, std::shared_ptr<Fault> fault)
      : inner_(std::move(inner)), fault_(std::move(fault)) {}

  static platform::Variant Wrap(const platform::Variant& v, const std::shared_ptr<Fault>& fault) {
    if (!v.HasObject()) return v;
    return platform::Variant(std::static_pointer_cast<platform::AutomationObject>(
        std::make_shared<FaultyObject>(v.AsObject(), fault)));
  }

  platform::Variant GetProperty(std::string_view name, std::span<const platform::Variant> args) override {
    Check(name, false);
    auto plain = Unwrap(args);
    return Wrap(inner_->GetProperty(name, plain), fault_);
  }
  void PutProperty(std::string_view name, std::span<const platform::Variant> args,
                   const platform::Variant& value) override {
    Check(name, true);
    auto plain = Unwrap(args);
    inner_->PutProperty(name, plain, UnwrapOne(value));
  }
  platform::Variant CallMethod(std::string_view name, std::span<const platform::Variant> args) override {
    Check(name, false);
    auto plain = Unwrap(args);
    return Wrap(inner_->CallMethod(name, plain), fault_);
  }

 private:
  static platform::Variant UnwrapOne(const platform::Variant& v) {
    if (!v.HasObject()) return v;
    if (auto* f = dynamic_cast<FaultyObject*>(v.AsObject().get())) return platform::Variant(f->inner_);
    return v;
  }
  static std::vector<platform::Variant> Unwrap(std::span<const platform::Variant> args) {
    std::vector<platform::Variant> out;
    for (const auto& a : args) out.push_back(UnwrapOne(a));
    return out;
  }
  void Check(std::string_view name, bool put) {
    Fault& f = *fault_;
    if (name != f.member) return;
    if ((f.on == Fault::On::Get && put) || (f.on == Fault::On::Put && !put)) return;
    if (f.skip > 0) {
      --f.skip;
      return;
    }
    if (f.times >= 0 && f.raised >= f.times) return;
    ++f.raised;
    throw platform::HostError(f.message);
  }

  platform::ObjectRef inner_;
  std::shared_ptr<Fault> fault_;
};

}  // namespace quillorn::automation::testing
