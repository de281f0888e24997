// The transfers for multi-factor authentication: lent to one user at a time, bounded in number, and
// taken back when they were held too long.
#pragma once

#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <string>

#include "cloud/http/curl_object.h"
#include "cloud/http/http_proxy.h"
#include "tolk/base/lock.h"

namespace tolk {

/// One for the process. For use by several threads; the lock is not held while a borrower works.
class CloudConnPool {
 public:
  static CloudConnPool& getInstance();

  CloudConnPool() = default;
  CloudConnPool(const CloudConnPool&) = delete;
  CloudConnPool& operator=(const CloudConnPool&) = delete;

  /// Reads the limits from the configuration; the first reading counts.
  void setConnProps();
  /// Lends a transfer with that web proxy and this host's time zone. It stays the borrower's to use
  /// even when the pool has given it up meanwhile. Throws CloudConnException.
  [[nodiscard]] std::shared_ptr<CurlObject> getCurl(const std::string& userName,
                                                    const std::string& programName,
                                                    const HttpProxy& proxy);
  /// Takes a transfer back, rid of all that its borrower left. Null, and one that the pool does not
  /// know (any more), is nothing.
  void releaseCurl(const CurlObject* curl);
  /// Gives up idle transfers and those that were held too long; the others are given up at their
  /// release if `destroyWhenDone`, else kept.
  void reapCurls(bool destroyWhenDone);
  /// The state as text.
  [[nodiscard]] std::string dump();
  /// Records the header lines of the last answer in which the platform tells about itself.
  static void dumpPlnHeader(const CurlObject& curl);

 private:
  struct Connection {
    std::shared_ptr<CurlObject> curl;
    bool occupied = false;
    bool destroyWhenDone = false;
    std::time_t timestamp = 0;
    std::string userName;
    std::string programName;
  };
  using Connections = std::map<const CurlObject*, Connection>;

  [[nodiscard]] std::shared_ptr<CurlObject> lend(const std::string& userName,
                                                 const std::string& programName);
  void readLimits();
  void reap(bool destroyWhenDone);
  Connections::iterator findIdle();
  Connections::iterator addConnection();
  [[nodiscard]] std::string numberOf(Connections::const_iterator connection) const;
  [[nodiscard]] bool isExpired(const Connection& connection, std::time_t now) const;

  Lock gCloudConnAccess;  // guards all that follows
  std::uint32_t maxConnections_ = 0;
  std::uint32_t occupiedCount_ = 0;
  std::uint32_t occupiedTimeout_ = 0;  // seconds
  Connections connections_;
};

/// How many minutes this host's clock is behind Greenwich (480 at UTC-8, -60 at UTC+1), by its
/// standard time.
[[nodiscard]] std::string timeZoneOffset(std::time_t now);

}  // namespace tolk
