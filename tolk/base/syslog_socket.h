// Records for the system log, sent without ever waiting. syslog(3) waits for a log daemon that has
// stopped reading, and a tool that is run because something is broken may not.
#pragma once

#include <string>
#include <string_view>

#include "tolk/base/handle.h"

namespace tolk {

/// Sends datagrams in the form of RFC 3164, 4.1, to the log daemon's socket. What the daemon does
/// not take at once is lost.
class SyslogSocket {
 public:
  /// `identity` is the program's name in each record, `path` the socket, /dev/log on a host.
  SyslogSocket(std::string identity, std::string path);

  /// `severity` is one of LOG_ERR ... LOG_DEBUG. Text beyond 8 KiB is cut. Tries a daemon that was
  /// not there before again.
  void send(int severity, std::string_view text) noexcept;

 private:
  [[nodiscard]] bool connected() noexcept;

  std::string identity_;
  std::string path_;
  UniqueFd socket_;
};

}  // namespace tolk
