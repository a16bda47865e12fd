#include "sim/simulation.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "data/cache_schema.h"
#include "data/cache_store.h"
#include "data/settings.h"
#include "foundation/datetime.h"
#include "foundation/ini_file.h"
#include "foundation/log.h"
#include "foundation/paths.h"
#include "hostsim/hosts.h"
#include "server/catalogue.h"
#include "server/demo_seed.h"
#include "server/function_table.h"
#include "server/procedure_calls.h"
#include "server/rpc_server.h"
#include "server/store.h"
#include "server/submit_functions.h"

namespace quillorn::sim {
namespace {

constexpr double kMsPerDay = 86400000.0;

// Log records carry the simulated time: the wall clock when the run began,
// moved on as the simulation's clock moves.
std::atomic<const platform::Clock*> gLogClock{nullptr};
foundation::TDateTime gLogStart = 0;

foundation::TDateTime SimulatedNow() {
  const platform::Clock* clock = gLogClock.load();
  if (clock == nullptr) return foundation::Now();
  return gLogStart + static_cast<double>(clock->NowMs() - Simulation::kClockStartMs) / kMsPerDay;
}

std::string HostBaseName(platform::HostType kind) {
  switch (kind) {
    case platform::HostType::ohaWord: return "word";
    case platform::HostType::ohaExcel: return "excel";
    case platform::HostType::ohaPowerPoint: return "powerpoint";
    case platform::HostType::ohaPublisher: return "publisher";
  }
  return "host";
}

}  // namespace

std::string ValueText(const platform::Variant& value) {
  using Kind = platform::Variant::Kind;
  switch (value.kind()) {
    case Kind::Empty:
    case Kind::Null: return "null";
    case Kind::Bool: return value.AsBool() ? "true" : "false";
    case Kind::Int32:
    case Kind::Int64: return std::to_string(value.AsInt64());
    case Kind::Double:
    case Kind::DateTime: {
      const double number = value.kind() == Kind::Double ? value.AsDouble() : value.AsDateTime();
      if (std::isfinite(number) && number == std::floor(number) && std::fabs(number) < 1e15) {
        return std::to_string(static_cast<long long>(number));
      }
      char text[32];
      std::snprintf(text, sizeof text, "%.15g", number);
      return text;
    }
    case Kind::Text: return value.AsString();
    case Kind::Object: return "(object)";
    case Kind::Array: {
      std::string text;
      for (const auto& item : value.AsArray()) text += (text.empty() ? "" : ";") + ValueText(item);
      return text;
    }
  }
  return {};
}

Simulation::Simulation(std::string home) : home_(std::move(home)) {
  while (home_.size() > 1 && (home_.back() == '/' || home_.back() == '\\')) home_.pop_back();
  std::error_code ec;
  std::filesystem::create_directories(foundation::PathFromUtf8(AppDataDir()), ec);
  if (ec) throw SimulationError("cannot make the user's folder " + AppDataDir() + ": " + ec.message());
  logs_ = std::make_unique<LogWatch>(AppDataDir());
  launcher_context_.AppDataDir = foundation::IncludeTrailingPathDelimiter(home_ + "/Launcher");
  launcher_context_.AppDir = launcher_context_.AppDataDir;
  std::filesystem::create_directories(foundation::PathFromUtf8(launcher_context_.AppDataDir), ec);
  gLogStart = foundation::Now();
  gLogClock.store(&clock_);
  foundation::SetLogClock(&SimulatedNow);
  // A failing timer or task of one add-in must not end the whole desktop; the
  // host's own loop would carry on too. It is logged as that add-in's failure.
  loop_.SetExceptionHandler([](std::exception_ptr failure) {
    try {
      std::rethrow_exception(failure);
    } catch (const std::exception& e) {
      foundation::LogException(e, "main loop");
    } catch (...) {
      foundation::LogException(nullptr, "main loop: unknown failure");
    }
  });
}

Simulation::~Simulation() {
  // Hosts left running at the end are closed the way a user logging off would.
  while (!instances_.empty()) {
    try {
      QuitHost(instances_.begin()->first);
    } catch (...) {
      instances_.erase(instances_.begin());
    }
  }
  StopServer();
  loop_.RunUntilIdle();
  foundation::SetLogClock(nullptr);
  gLogClock.store(nullptr);
}

std::string Simulation::AppDataDir() const {
  return foundation::IncludeTrailingPathDelimiter(home_ + "/Quillorn");
}

std::string Simulation::CacheFileName() const {
  return AppDataDir() + "Cache" + foundation::kPathDelim + data::kCacheFileName;
}

namespace {

platform::SystemServices& LauncherFiles() {
  static const std::unique_ptr<platform::SystemServices> files = platform::CreateSystemServices();
  return *files;
}

}  // namespace

void Simulation::MakeCache() {
  foundation::ContextScope scope(launcher_context_);
  data::CacheStore store(foundation::ExtractFilePath(CacheFileName()), LauncherFiles());
  if (!foundation::FileExists(store.CacheFileName())) store.CreateCacheDB();
}

void Simulation::DamageCache(CacheDamage damage) {
  MakeCache();
  platform::SystemServices& files = LauncherFiles();
  std::string bytes;
  if (!files.ReadFile(CacheFileName(), bytes)) throw SimulationError("the cache " + CacheFileName() + " cannot be read");
  switch (damage) {
    case CacheDamage::Empty: bytes.clear(); break;
    case CacheDamage::Truncated: bytes.resize(bytes.size() / 2); break;
    case CacheDamage::Overwritten: {
      static constexpr std::string_view kNoise = "not a database at all; ";
      for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = kNoise[i % kNoise.size()];
      break;
    }
  }
  // The journal beside it belongs to the file as it was.
  files.DeleteFile(CacheFileName() + "-wal");
  files.DeleteFile(CacheFileName() + "-shm");
  if (!files.WriteFile(CacheFileName(), bytes)) throw SimulationError("the cache " + CacheFileName() + " cannot be written");
}

template <typename F>
auto Simulation::WithCache(F&& work) {
  foundation::ContextScope scope(launcher_context_);
  data::CacheStore store(foundation::ExtractFilePath(CacheFileName()), LauncherFiles());
  if (!foundation::FileExists(store.CacheFileName())) store.CreateCacheDB();
  // A lookup opens the file as every add-in does, under the shared use lock.
  store.cacheLookup("select VER_NO from VER");
  if (!store.CacheDB().Connected()) throw SimulationError("the cache " + store.CacheFileName() + " cannot be opened");
  return work(store.CacheDB());
}

bool Simulation::AnyBusy() {
  loop_.RunUntilIdle();
  if (loop_.PendingTaskCount() != 0) return true;
  for (auto& [name, instance] : instances_) {
    if (instance->Busy()) {
      // Pumps the shared loop, so every instance's replies are handled meanwhile.
      instance->WaitForCalls(kSettleSeconds);
      return true;
    }
  }
  return false;
}

void Simulation::Settle() {
  // On the manual clock a wait ends only when something arrives; while settling,
  // a short quiet spell ends it instead, so that waiting for the add-ins' calls
  // costs what the network takes and no more.
  struct ShortStall {
    platform::QueueMainLoop& loop;
    explicit ShortStall(platform::QueueMainLoop& l) : loop(l) { loop.SetManualStallLimit(kQuietMs); }
    ~ShortStall() { loop.SetManualStallLimit(platform::QueueMainLoop::kDefaultManualStallMs); }
  } stall(loop_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kSettleSeconds);
  // A worker hands a reply or a connection event to the loop a moment after it
  // leaves the queue; only quiet spells in a row with nothing arriving are settled.
  auto quiet = loop_.CreateEvent();
  int quiet_rounds = 0;
  while (std::chrono::steady_clock::now() < deadline && quiet_rounds < kQuietRounds) {
    if (AnyBusy()) {
      quiet_rounds = 0;
      continue;
    }
    ++quiet_rounds;
    loop_.Wait(*quiet, 1);
  }
}

void Simulation::Tick(std::uint64_t ms) {
  Settle();
  std::uint64_t left = ms;
  while (left > 0) {
    const std::int64_t next = loop_.MsToNextTimer();
    const std::uint64_t step =
        next < 0 || static_cast<std::uint64_t>(next) > left ? left : std::max<std::uint64_t>(next, 1);
    loop_.AdvanceAndRun(step);
    Settle();
    left -= step;
  }
}

void Simulation::FixPort() {
  if (port_ != 0) return;
  // A server started and stopped at once: the port the system gave it is then
  // the one this desktop's add-ins look for, whether or not a server runs.
  server::FunctionTable functions;
  server::RpcServer probe(server::ServerOptions{}, std::move(functions));
  port_ = probe.Start();
  probe.Stop();
  WriteSetting("Connection Settings", "Local_Address", "127.0.0.1");
  WriteSetting("Connection Settings", "Port", std::to_string(port_));
}

int Simulation::Port() {
  FixPort();
  return port_;
}

int Simulation::StartServer() {
  if (server_) throw SimulationError("the server is running already");
  FixPort();
  server::ServerOptions options;
  options.Port = port_;
  // The store goes down with the server: a stopped server holds no file open.
  store_ = std::make_unique<server::ServerStore>(foundation::PathFromUtf8(ServerFolder()));
  server::SeedDemo(*store_);
  server::FunctionTable functions;
  server::RegisterCatalogue(functions, *store_);
  server::RegisterSubmitFunctions(functions, *store_);
  auto started = std::make_unique<server::RpcServer>(options, std::move(functions));
  started->Start();
  server_ = std::move(started);
  return port_;
}

void Simulation::StopServer() {
  if (!server_) return;
  server_->Stop();
  server_.reset();
  store_.reset();
}

std::string Simulation::ServerFolder() const { return home_ + "/Server"; }

platform::Variant Simulation::ServerValue(const std::string& sql) {
  Settle();
  std::unique_ptr<server::ServerStore> own;
  server::ServerStore* store = store_.get();
  if (store == nullptr) {
    own = std::make_unique<server::ServerStore>(foundation::PathFromUtf8(ServerFolder()));
    store = own.get();
  }
  const server::StoreRows rows = store->Select(server::RewriteProcedureCalls(sql));
  if (rows.Rows.empty() || rows.Rows[0].empty()) return platform::Variant::Null();
  const server::StoreCell& cell = rows.Rows[0][0];
  switch (cell.kind) {
    case server::StoreCell::Kind::Null: return platform::Variant::Null();
    case server::StoreCell::Kind::Integer: return platform::Variant(cell.integer);
    case server::StoreCell::Kind::Real: return platform::Variant(cell.real);
    case server::StoreCell::Kind::Text:
    case server::StoreCell::Kind::Blob: return platform::Variant(cell.bytes);
  }
  return platform::Variant::Null();
}

void Simulation::WriteSetting(const std::string& section, const std::string& key, const std::string& value) {
  foundation::TIniFile ini(AppDataDir() + data::kAddInIniName);
  ini.WriteString(section, key, value);
}

void Simulation::SetEnvironment(const std::string& name, const std::string& value) { environment_[name] = value; }

SimInstance& Simulation::StartHost(platform::HostType kind, const std::string& version, const std::string& startFile) {
  FixPort();
  // The desktop program has made the cache before it has any host open a file;
  // one it finds damaged it leaves for the add-in to rebuild.
  MakeCache();
  Settle();
  const std::string base = HostBaseName(kind);
  std::string name = base;
  for (int n = 2; instances_.contains(name); ++n) name = base + std::to_string(n);
  // The host takes its time to come up; two hosts never start in the same
  // millisecond, so their session numbers differ.
  loop_.AdvanceAndRun(kHostStartMs);
  Settle();
  auto instance = std::make_unique<SimInstance>(SimInstance::Setup{name, kind, version, home_, environment_,
                                                                   next_process_id_++},
                                                loop_, clock_, *logs_);
  SimInstance& started = *instance;
  instances_.emplace(name, std::move(instance));
  if (!startFile.empty() && !started.Open(startFile, false)) {
    throw SimulationError(name + " could not open " + startFile + " at its start");
  }
  started.Load();
  Settle();
  return started;
}

void Simulation::QuitHost(const std::string& name) {
  auto it = instances_.find(name);
  if (it == instances_.end()) throw SimulationError("no host named " + name + " is running");
  std::unique_ptr<SimInstance> instance = std::move(it->second);
  instances_.erase(it);
  instance->Unload();
  finished_.push_back(std::move(instance));
  Settle();
}

void Simulation::KillHost(const std::string& name) {
  auto it = instances_.find(name);
  if (it == instances_.end()) throw SimulationError("no host named " + name + " is running");
  std::unique_ptr<SimInstance> instance = std::move(it->second);
  instances_.erase(it);
  instance->Kill();
  finished_.push_back(std::move(instance));
  Settle();
}

SimInstance& Simulation::Instance(const std::string& name) {
  auto it = instances_.find(name);
  if (it == instances_.end()) {
    std::string running;
    for (const auto& [known, instance] : instances_) running += (running.empty() ? "" : ", ") + known;
    throw SimulationError("no host named " + name + " is running" +
                          (running.empty() ? std::string(" (none is)") : " (running: " + running + ")"));
  }
  return *it->second;
}

std::vector<std::string> Simulation::RunningHosts() const {
  std::vector<std::string> names;
  for (const auto& [name, instance] : instances_) names.push_back(name);
  return names;
}

int Simulation::CacheExec(const std::string& sql) {
  Settle();
  const int changed = WithCache([&](data::Database& db) { return db.Execute(sql); });
  Settle();
  return changed;
}

void Simulation::WithLauncherCache(const std::function<void(data::Database&)>& work) {
  Settle();
  WithCache([&](data::Database& db) {
    work(db);
    return 0;
  });
  Settle();
}

platform::Variant Simulation::CacheValue(const std::string& sql) {
  Settle();
  return WithCache([&](data::Database& db) {
    const data::ResultSet result = db.Query(sql);
    if (result.rows.empty() || result.rows[0].empty()) return platform::Variant::Null();
    return result.rows[0][0];
  });
}

}  // namespace quillorn::sim
