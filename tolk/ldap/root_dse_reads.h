// Anonymous reads of the root DSEs of several servers, all waits together.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tolk/ldap/ad_object.h"
#include "tolk/net/event_loop.h"

namespace tolk {

/// A root DSE, and when it came by this host's clock.
struct RootDse {
  ADObject object;
  std::chrono::system_clock::time_point received;
};

/// Reads the root DSE of "host:port" within the limits below. Throws LDAPException when that names
/// no server; the wait fails with LDAPException, or another of the tolk family when the host name
/// cannot be looked up.
Pending<RootDse> startRootDseRead(EventLoop& loop, const std::string& hostAndPort);

/// Starts one read for each server; whoever waits for one lets the others progress. Each read ends
/// within a host lookup, PN::LDAP_CONNECT_TIMEOUT and PN::LDAP_BIND_TIMEOUT, counted from its
/// start.
class RootDseReads {
 public:
  /// Starts reading every server of `servers` ("host:port", or "host" for port 389); equal names
  /// are read once.
  explicit RootDseReads(const std::vector<std::string>& servers);
  RootDseReads(const RootDseReads&) = delete;
  RootDseReads& operator=(const RootDseReads&) = delete;
  /// Gives up what is still running.
  ~RootDseReads();

  /// Waits until the connection to that server is open and its root DSE has been asked for: true.
  /// False when that has failed; take() tells why. Throws LDAPException when `hostAndPort` names no
  /// server.
  bool waitConnected(const std::string& hostAndPort);

  /// Waits for that server's root DSE and hands it over, with all its attributes; a server that was
  /// not started, or was taken before, is read now. Throws LDAPException, or another of the tolk
  /// family when the host name cannot be looked up.
  [[nodiscard]] ADObject take(const std::string& hostAndPort);

 private:
  struct Read {
    std::string server;
    std::shared_ptr<bool> connected;  ///< shared with the read in progress
    Pending<RootDse> pending;
  };
  Read& start(const std::string& server);

  EventLoop loop_;
  std::vector<Read> reads_;
};

}  // namespace tolk
