// Port probes: TCP connect, SMB 2 negotiate (MS-SMB2 2.2.3), SNTP query (RFC 4330). Each comes as a
// call that waits and as a wait on an event loop, so that the probes of many servers run together.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <ctime>
#include <string>
#include <vector>

#include "tolk/base/handle.h"
#include "tolk/base/property_names.h"
#include "tolk/net/event_loop.h"
#include "tolk/net/limits.h"

namespace tolk {

/// Results of TestConnect() and startConnectProbe().
struct ConnectResult {
  static constexpr int kConnected = 0;
  static constexpr int kRefused = 1;
  static constexpr int kTimeout = -1;  ///< no answer within the limit, no way to the address, or
                                       ///< nothing asked, because this host could not
};

/// How a probe ended, and why.
struct ProbeOutcome {
  int result = 0;      ///< what TestConnect() or TestSmbPort() returns for it
  int error = 0;       ///< errno behind it, ETIME when the limit ended the wait; 0 when it is good
  std::string reason;  ///< the same in words, with address and port; empty when it is good
};

/// Tries a TCP connection, at most net.connect.timeout. Returns one of ConnectResult.
int TestConnect(sockaddr_in& address);

/// Connects and negotiates SMB 2 or 3 under one limit, net.connect.timeout. 0 when the server
/// answers as one; ETIME (62) where TestConnect() gives kTimeout, and without an answer in time;
/// else another error number: ECONNREFUSED, ECONNRESET when it hangs up, EPROTO for an answer that
/// is not SMB 2. `message` tells the same in words, empty on success.
int TestSmbPort(sockaddr_in& address, std::string& message);

/// Asks the host's NTP service for the time, at most net.ntp.timeout (the name's lookup apart).
/// Throws TimeoutException when no valid answer comes in time; IOException when the port is closed,
/// the server has no time to give (stratum 0, or its clock is not synchronized), or the name has no
/// address.
std::time_t NtpGetTime(const char* host);

/// TestConnect() as a wait; never fails.
Pending<ProbeOutcome> startConnectProbe(
    EventLoop& loop, const sockaddr_in& address,
    std::chrono::milliseconds limit = configuredLimit(PN::NET_CONNECT_TIMEOUT));

/// TestSmbPort() as a wait; never fails.
Pending<ProbeOutcome> startSmbProbe(
    EventLoop& loop, const sockaddr_in& address,
    std::chrono::milliseconds limit = configuredLimit(PN::NET_CONNECT_TIMEOUT));

/// A time server's answer: its time, and by how many seconds this host's clock is ahead of it.
struct NtpAnswer {
  std::time_t time;
  double clockAhead;
};

/// NtpGetTime() for an address; port 0 means 123. The question is repeated each second.
Pending<NtpAnswer> startNtpQuery(
    EventLoop& loop, const sockaddr_in& address,
    std::chrono::milliseconds limit = configuredLimit(PN::NET_NTP_TIMEOUT));

/// Asks the key distribution center at `address` for a ticket to nobody: whether one answers, with
/// a result of ConnectResult. Never fails. The request names no account, so none is charged with an
/// attempt.
Pending<ProbeOutcome> startKdcProbe(
    EventLoop& loop, const sockaddr_in& address, const std::string& realm,
    std::chrono::milliseconds limit = configuredLimit(PN::KRB5_KDC_TIMEOUT));

/// The same by UDP; fails as startCldapSearch() does.
Pending<ProbeOutcome> startKdcUdpProbe(EventLoop& loop, const sockaddr_in& address,
                                       const std::string& realm, std::chrono::milliseconds limit);

/// A connected, non-blocking, close-on-exec TCP socket to the first of `addresses` that accepts.
/// They are tried in their order, the next one when the last has failed or 250 ms have passed (RFC
/// 8305, 5). Throws TimeoutException, or IOException with errno when all failed (EDESTADDRREQ for
/// an empty list).
Pending<UniqueFd> startTcpConnect(EventLoop& loop, std::vector<sockaddr_in> addresses,
                                  std::chrono::milliseconds limit);

}  // namespace tolk
