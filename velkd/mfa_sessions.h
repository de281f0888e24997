// The multi-factor authentications that callers of the daemon carry on.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "cloud/signon/cloud_auth.h"
#include "tolk/rpc/mfa_step.h"

namespace velkd {

/// Keeps each authentication between its calls, for some minutes. For use by several threads; calls
/// for one session wait for each other. Everything here asks the platform, so it runs on a run
/// queue.
class MfaSessions {
 public:
  MfaSessions() = default;
  MfaSessions(const MfaSessions&) = delete;
  MfaSessions& operator=(const MfaSessions&) = delete;

  /// Begins. A connector that fails is left for the next one, while there is one, three in all.
  /// Throws what tolk::CloudAuth::startAuthentication and tolk::getHandler throw;
  /// CloudConnException when too many are under way.
  [[nodiscard]] tolk::MfaStep start(const tolk::MfaRequest& request);
  /// One step with a choice of the challenge at hand; `action` is a tolk::JSON_VAL_ACTION_....
  /// Throws NotFoundException for a session or a choice that is not known, and what
  /// tolk::CloudAuth::advanceAuthentication throws; the session is over then, except after
  /// CloudConnException: nothing was asked.
  [[nodiscard]] tolk::MfaStep advance(const std::string& name, const std::string& choice,
                                      const std::string& action, const tolk::Shredder& answer);
  /// Gives the session up; one that is not known is nothing.
  void end(const std::string& session);
  /// Ends those that were not gone on with for some minutes.
  void dropOld();
  /// Ends those that log on to the web proxy by another credential than the stored one.
  void dropForeignCredentials();

 private:
  struct Session {
    std::mutex mutex;
    std::unique_ptr<tolk::CloudAuth> client;
    tolk::MfaPolicy policy;
    std::size_t challenge = 0;
    std::chrono::steady_clock::time_point used;  // guarded by the table's mutex
  };

  template <typename Predicate>
  void dropWhere(const Predicate& predicate);
  [[nodiscard]] std::shared_ptr<Session> find(const std::string& name);
  [[nodiscard]] std::string keep(std::shared_ptr<Session> session);
  [[nodiscard]] static tolk::MfaStep step(const Session& session, const std::string& name,
                                          int summary);

  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Session>> sessions_;
};

}  // namespace velkd
