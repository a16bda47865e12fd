// One simulated desktop: a user's home folder, one main loop on a clock moved
// by hand, the reference server on 127.0.0.1, the cache that every add-in
// shares, and the host applications with an add-in instance each. Reports what
// happened as facts; the scenario runner puts them into words. Never listens
// beyond the loopback address and never waits without a bound.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/context.h"
#include "hostsim/model.h"
#include "platform/clock.h"
#include "platform/queue_main_loop.h"
#include "platform/variant.h"
#include "sim/log_watch.h"
#include "sim/sim_instance.h"

namespace quillorn::server {
class RpcServer;
class ServerStore;
}
namespace quillorn::data {
class Database;
}

namespace quillorn::sim {

// Something the scenario asked for that cannot be done (an unknown host, a
// second server start); the run stops with its text.
class SimulationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Simulation {
 public:
  // Where the clock starts: a machine that booted two hours ago.
  static constexpr std::uint64_t kClockStartMs = 7200000;
  // Simulated time a host application takes to start before its add-in loads.
  static constexpr std::uint64_t kHostStartMs = 1000;
  // Real time the network may take to answer before a step gives up on it.
  static constexpr int kSettleSeconds = 15;
  // Real time with nothing arriving, twice in a row, that counts as settled.
  static constexpr std::uint32_t kQuietMs = 20;
  static constexpr int kQuietRounds = 2;

  // `home` is the user's folder; it is made if missing and kept afterwards.
  explicit Simulation(std::string home);
  ~Simulation();
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;

  const std::string& Home() const { return home_; }
  // The add-ins' per-user folder, the cache folder and the log folder in one.
  std::string AppDataDir() const;
  std::string CacheFileName() const;
  std::uint64_t ElapsedMs() const { return clock_.NowMs() - kClockStartMs; }
  platform::QueueMainLoop& Loop() { return loop_; }
  LogWatch& Logs() { return *logs_; }

  // Moves the clock on, firing every timer in order and letting the network
  // answer after each, as real time would.
  void Tick(std::uint64_t ms);
  // Runs what is ready and waits (bounded) for the add-ins' remote calls.
  void Settle();

  // The reference server. The first start picks a free port; later starts
  // reuse it, so that add-ins configured for it find it again. Its data folder
  // is `Server/` in the user's folder, filled with the demo organisation on the
  // first start and kept across restarts.
  int StartServer();
  void StopServer();
  bool ServerRunning() const { return server_ != nullptr; }
  int Port();
  std::string ServerFolder() const;
  // The server's database, open while the server runs; null otherwise.
  server::ServerStore* Store() { return server_ ? store_.get() : nullptr; }
  // First field of the first row the server's database gives; Null for no row.
  // Reads the store even while the server is down, as an administrator could.
  platform::Variant ServerValue(const std::string& sql);

  // A line of QuillornAddIn.ini in the user's folder, read by add-ins that start later.
  void WriteSetting(const std::string& section, const std::string& key, const std::string& value);
  // For host processes that start later.
  void SetEnvironment(const std::string& name, const std::string& value);

  // Starts the host application and loads an add-in into it; returns its name
  // ("word", then "word2" for a second Word ...). With `startFile` the host is
  // started with that file, open before its add-in loads: no event tells the
  // add-in of it.
  SimInstance& StartHost(platform::HostType kind, const std::string& version, const std::string& startFile = {});
  void QuitHost(const std::string& name);
  // The host process ends at once: no shutdown callback runs, nothing is
  // released, what the add-in had not yet written is lost.
  void KillHost(const std::string& name);
  SimInstance& Instance(const std::string& name);  // raises for an unknown name
  std::vector<std::string> RunningHosts() const;

  // The shared cache, as the desktop program sees it: a statement in the
  // add-in's dialect, made on a cache that is created first if missing.
  int CacheExec(const std::string& sql);
  // First field of the first row; Null when there is no row.
  platform::Variant CacheValue(const std::string& sql);
  // Runs `work` on the cache as the desktop program, the cache made first if missing.
  void WithLauncherCache(const std::function<void(data::Database&)>& work);

  // The cache file damaged while no add-in has it open: emptied, cut to half
  // its length, or overwritten with bytes that are no database.
  enum class CacheDamage { Empty, Truncated, Overwritten };
  void DamageCache(CacheDamage damage);

 private:
  void FixPort();
  // The cache file made when missing; neither opened nor checked.
  void MakeCache();
  // Runs what is ready; true when something is still under way.
  bool AnyBusy();
  template <typename F>
  auto WithCache(F&& work);

  std::string home_;
  platform::ManualClock clock_{kClockStartMs};
  platform::QueueMainLoop loop_{&clock_};
  std::unique_ptr<LogWatch> logs_;
  // The desktop program's own context: its failures go to its own folder,
  // never into the add-ins' logs.
  foundation::LogContext launcher_context_;
  std::unique_ptr<server::ServerStore> store_;
  std::unique_ptr<server::RpcServer> server_;
  int port_ = 0;
  std::map<std::string, std::string, std::less<>> environment_;
  std::map<std::string, std::unique_ptr<SimInstance>, std::less<>> instances_;
  // Instances that quit stay here until the end: a task they left in the loop
  // may still refer to their context.
  std::vector<std::unique_ptr<SimInstance>> finished_;
  std::uint32_t next_process_id_ = 4100;
};

// Text of a cache value as a scenario writes it: null, true/false, numbers
// without trailing zeros, text as it is.
std::string ValueText(const platform::Variant& value);

}  // namespace quillorn::sim
