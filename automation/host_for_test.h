// What the automation tests stand on: a simulated host with one open document,
// the add-in's two log files in a scratch folder of the test's own, a member that
// raises once as a busy host would, and the picture tools of the build machine
// (a missing tool fails, never skips: scripts/install-deps.sh installs them).
// Test code only; never used by the client.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/context.h"
#include "foundation/log.h"
#include "foundation/temp_folder_for_test.h"
#include "hostsim/hosts.h"
#include "hostsim/model.h"
#include "platform/automation.h"
#include "platform/variant.h"

namespace quillorn::automation::testing {

using platform::HostType;
using platform::Variant;
using Texts = std::vector<std::string>;

struct OpenDoc {
  // `file` names a document in the scratch folder; empty, a new untitled one.
  explicit OpenDoc(HostType kind, const std::string& file = {}, bool trace = false)
      : host(hostsim::CreateHost(kind)), app(host->Application()) {
    context.TraceEnabled = trace;
    context.AppDir = context.AppDataDir = folder.Dir();
    model = file.empty() ? host->Add() : host->Open((folder.Path() / file).string());
    doc = Variant(host->Wrap(model));
  }
  // Every later call on the document raises, as on a host that has let it go.
  void Close() { host->Close(model); }

  // Trace records as "Where\tWhat", without their time stamps.
  Texts Traces() const { return Records(foundation::kTraceFileName); }
  // The Msg of each exception record: what follows its last bare CR.
  Texts ExceptionTexts() const {
    Texts out;
    for (const auto& r :
         Records(context.TraceEnabled ? foundation::kTraceFileName : foundation::kExceptFileName)) {
      if (r.find('\r') != std::string::npos) out.push_back(r.substr(r.rfind('\r') + 1));
    }
    return out;
  }
  Texts Records(const char* file) const {
    const std::string all = foundation::testing::ReadAll(folder.Path() / file);
    const std::string end_of_record = "\r\n" + std::string(41, '-') + "\r\n\r\n";
    Texts out;
    for (std::size_t at = 0, end; (end = all.find(end_of_record, at)) != std::string::npos;
         at = end + end_of_record.size()) {
      const std::size_t text = all.find('\t', at) + 1;
      out.push_back(all.substr(text, end - text));
    }
    return out;
  }

  foundation::testing::TempFolder folder;
  foundation::LogContext context;
  foundation::ContextScope scope{context};
  std::shared_ptr<hostsim::SimHost> host;
  Variant app;
  std::shared_ptr<hostsim::DocumentModel> model;
  Variant doc;
};

// Wraps a host object and whatever is fetched through it; the call of `member`
// after the first `skip` of them raises, once.
struct Fault {
  std::string member;
  int skip = 0;
};

class FaultyObject : public platform::AutomationObject {
 public:
  FaultyObject(platform::ObjectRef inner, std::shared_ptr<Fault> fault) : inner_(inner), fault_(fault) {}
  static Variant Wrap(const Variant& v, const std::shared_ptr<Fault>& fault) {
    return v.HasObject() ? Variant(platform::ObjectRef(std::make_shared<FaultyObject>(v.AsObject(), fault)))
                         : v;
  }
  Variant GetProperty(std::string_view name, std::span<const Variant> args) override {
    Check(name);
    return Wrap(inner_->GetProperty(name, args), fault_);
  }
  Variant CallMethod(std::string_view name, std::span<const Variant> args) override {
    Check(name);
    return Wrap(inner_->CallMethod(name, args), fault_);
  }
  // A value fetched through the wrapper goes back to the host as the host's own object.
  void PutProperty(std::string_view name, std::span<const Variant> args, const Variant& value) override {
    auto* wrapped = value.HasObject() ? dynamic_cast<FaultyObject*>(value.AsObject().get()) : nullptr;
    Check(name);
    inner_->PutProperty(name, args, wrapped ? Variant(wrapped->inner_) : value);
  }

 private:
  void Check(std::string_view name) {
    if (name == fault_->member && fault_->skip-- == 0)
      throw platform::HostError("Call was rejected by callee.");
  }
  platform::ObjectRef inner_;
  std::shared_ptr<Fault> fault_;
};

// One command line through the shell, its output to `log` and into the failure.
inline ::testing::AssertionResult RunTool(const std::string& command, const std::filesystem::path& log) {
  const int status = std::system((command + " >\"" + log.string() + "\" 2>&1").c_str());
  if (status == 0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "`" << command << "` ended with status " << status << ": " << foundation::testing::ReadAll(log)
         << "\n(scripts/install-deps.sh linux: imagemagick, libwmf-bin, fonts-urw-base35)";
}

inline std::string Quoted(const std::filesystem::path& p) {
  return "\"" + p.string() + "\"";
}

}  // namespace quillorn::automation::testing
