// The daemon from start to end.
#include "velkd/daemon.h"

#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <list>
#include <string>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/run_queue.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/rpc/daemon_protocol.h"
#include "velkd/cloud_service.h"
#include "velkd/exit_status.h"
#include "velkd/instance_lock.h"
#include "velkd/listener.h"
#include "velkd/notify.h"
#include "velkd/service.h"
#include "velkd/watchdog.h"

namespace velkd {
namespace {

constexpr const char* kLogFile = "/var/log/orvald.log";
// More than connections: a call that was given up waits on.
constexpr std::size_t kMostJobs = 2048;
constexpr std::size_t kJobsKeptForRoot = 128;

const tolk::Logger& logger() {
  return tolk::Logger::GetThreadPrivateLogger("velkd");
}

/// Signals as a descriptor. Blocked for good in this thread and in those that it starts.
class Signals {
 public:
  Signals() {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) ::sigaddset(&set, signal);
    (void)::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    fd_.reset(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!fd_) throw tolk::IOException("Cannot wait for signals", errno);
  }
  [[nodiscard]] int fd() const noexcept { return fd_.get(); }
  /// The next one, 0 when there is none.
  [[nodiscard]] int next() const noexcept {
    signalfd_siginfo info{};
    if (::read(fd_.get(), &info, sizeof info) != static_cast<ssize_t>(sizeof info)) return 0;
    return static_cast<int>(info.ssi_signo);
  }

 private:
  tolk::UniqueFd fd_;
};

// As many descriptors as all connections need, as far as this host allows.
void allowDescriptors() {
  constexpr rlim_t kWanted = 4096;
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kWanted) return;
  limit.rlim_cur = std::min(kWanted, limit.rlim_max);
  (void)::setrlimit(RLIMIT_NOFILE, &limit);
}

ServerLimits configuredLimits() {
  const tolk::Properties& properties = tolk::Props();
  ServerLimits limits;
  limits.idle = std::chrono::milliseconds(properties.getLimitMs(tolk::PN::VELKD_IDLE_TIMEOUT));
  limits.transfer =
      std::chrono::milliseconds(properties.getLimitMs(tolk::PN::VELKD_TRANSFER_TIMEOUT));
  return limits;
}

// The manager takes a reload for finished with the next READY=1 (sd_notify(3)).
void tellReloading() {
  constexpr long long kMicrosecondsPerSecond = 1000000;
  constexpr long long kNanosecondsPerMicrosecond = 1000;
  timespec now{};
  (void)::clock_gettime(CLOCK_MONOTONIC, &now);
  notifyServiceManager("RELOADING=1\nMONOTONIC_USEC=" +
                       std::to_string(now.tv_sec * kMicrosecondsPerSecond +
                                      now.tv_nsec / kNanosecondsPerMicrosecond));
}

void reload(Server& server, Worker& worker, CloudService& cloud) {
  tellReloading();
  tolk::openLog(tolk::LogSink::file, kLogFile);
  tolk::Logger::ReconfigureLevels(tolk::Props(true));
  server.setLimits(configuredLimits());
  worker.wake();
  cloud.reload();
  logger().log(tolk::LogLevel::info, "Reread the configuration");
  notifyServiceManager("READY=1");
}

// The worker may be waiting for a server that does not answer; nothing of what it holds outlives
// the process, so that is no reason to stay.
void endWorker(Worker& worker) {
  const std::chrono::milliseconds limit(tolk::Props().getLimitMs(tolk::PN::VELKD_RPC_TIMEOUT));
  const auto end = std::chrono::steady_clock::now() + limit;
  const bool idle = worker.stop(limit);  // first: it queues work
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  if (tolk::RunQueue::shutdown(std::max(left, std::chrono::milliseconds(0))) && idle) return;
  logger().log(tolk::LogLevel::warning, "Ended while waiting for the directory");
  ::_exit(exit_status::kSuccess);
}

void serveCallers(const Signals& signals, Worker& worker, Service& service, Mailbox& mailbox,
                  CloudService& cloud) {
  Listener listener(tolk::kDaemonDirectory);
  Server server(
      listener.takeSocket(), [&service](const Request& request) { return service.handle(request); },
      mailbox, configuredLimits());
  Watchdog watchdog(worker);
  notifyServiceManager("READY=1");
  logger().log(tolk::LogLevel::info, "Ready");
  const auto onSignal = [&] {
    const int signal = signals.next();
    if (signal == SIGHUP) reload(server, worker, cloud);
    return signal == 0 || signal == SIGHUP;
  };
  const auto onBeat = [&watchdog] {
    watchdog.beat();
    return true;
  };
  server.run({{signals.fd(), onSignal}, {watchdog.fd(), onBeat}});
  notifyServiceManager("STOPPING=1");
}

void serve(const Signals& signals) {
  Mailbox mailbox;
  StatusBoard board;
  CloudService cloud(board);
  Directory directory(board, [&cloud] { cloud.connected(); });
  Worker worker(Places(kMostJobs, kJobsKeptForRoot), [&directory] { return directory.upkeep(); });
  Service service(
      board, worker, [&directory](const FetchCall& call) { return directory.fetch(call); },
      [&directory](Clock::time_point since) { directory.look(since); }, cloud, mailbox);
  try {
    serveCallers(signals, worker, service, mailbox, cloud);
  } catch (...) {
    endWorker(worker);  // its jobs use what is about to go
    throw;
  }
  endWorker(worker);
}

}  // namespace

int runDaemon() {
  const Signals signals;
  const InstanceLock lock(kDaemonLockFile);
  // For all threads, so before the first: the environment is not to change under them.
  const tolk::GssConfigOverlay overlay{std::list<std::string>{}};
  tolk::openLog(tolk::LogSink::file, kLogFile);
  allowDescriptors();
  serve(signals);
  logger().log(tolk::LogLevel::info, "Ended");
  return exit_status::kSuccess;
}

}  // namespace velkd
