// The transfers for multi-factor authentication.
#include "cloud/http/cloud_conn_pool.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "cloud/http/cloud_exceptions.h"
#include "cloud/http/cloud_log.h"
#include "cloud/http/platform_way.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr CloudLog kLog{"cloud.object"};
constexpr long kDefaultConnections = 10;
constexpr long kDefaultTimeoutSeconds = 900;
constexpr long kMostTimeoutSeconds = 0x7fffffff;

/// A whole number, its default when the property is empty or no number.
long wholeNumber(const Property& property, long fallback) {
  const std::string text = Props().getProperty(property);
  long value = fallback;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() ? value : fallback;
}

}  // namespace

std::string timeZoneOffset(std::time_t now) {
  constexpr int kSecondsPerMinute = 60;
  std::tm utc{};
  (void)::gmtime_r(&now, &utc);
  return std::to_string((std::mktime(&utc) - now) / kSecondsPerMinute);
}

CloudConnPool& CloudConnPool::getInstance() {
  static CloudConnPool pool;
  return pool;
}

void CloudConnPool::setConnProps() {
  const std::lock_guard lock(gCloudConnAccess);
  readLimits();
}

void CloudConnPool::readLimits() {
  if (maxConnections_ == 0) {
    constexpr long kDefaultThreads = 20;
    const long maxThreads = wholeNumber(PN::TOLKD_MAX_CLIENT_THREADS, kDefaultThreads);
    long most = wholeNumber(PN::VELKD_CLOUD_AUTH_CONN_MAX, kDefaultConnections);
    if (most < 0 || most > maxThreads) {
      kLog.error("Illegal value for %s: %d. Using %d.",
                 {std::string(PN::VELKD_CLOUD_AUTH_CONN_MAX.key), std::to_string(most),
                  std::to_string(kDefaultConnections)});
      most = kDefaultConnections;
    }
    maxConnections_ = static_cast<std::uint32_t>(most);
    kLog.debug("Set max CURL connections number to: %d.", {std::to_string(maxConnections_)});
  }
  if (occupiedTimeout_ == 0) {
    long seconds = Props().getTime(PN::TOLKD_CLIENT_IDLE_TIMEOUT, 's', kDefaultTimeoutSeconds);
    if (seconds < 0) {
      kLog.error("Illegal value for %s: %d. Using %d",
                 {std::string(PN::TOLKD_CLIENT_IDLE_TIMEOUT.key), std::to_string(seconds),
                  std::to_string(kDefaultTimeoutSeconds)});
      seconds = kDefaultTimeoutSeconds;
    }
    occupiedTimeout_ = static_cast<std::uint32_t>(std::min(seconds, kMostTimeoutSeconds));
    kLog.debug("Set max CURL connection occupied timeout to : %d(s).",
               {std::to_string(occupiedTimeout_)});
  }
}

std::shared_ptr<CurlObject> CloudConnPool::getCurl(const std::string& userName,
                                                   const std::string& programName,
                                                   const HttpProxy& proxy) {
  std::shared_ptr<CurlObject> curl = lend(userName, programName);
  try {
    // Without the lock: a proxy with Kerberos has the directory and the KDC asked.
    applyProxy(*curl, proxy, kLog);
    return curl;
  } catch (...) {
    releaseCurl(curl.get());
    throw;
  }
}

std::shared_ptr<CurlObject> CloudConnPool::lend(const std::string& userName,
                                                const std::string& programName) {
  const std::lock_guard lock(gCloudConnAccess);
  readLimits();
  kLog.debug("Getting CURL connection for cloud auth.");
  if (occupiedCount_ >= maxConnections_) reap(false);
  if (occupiedCount_ >= maxConnections_) {
    throw CloudConnException("Failed to get CURL handle for connection: connections exceeded.");
  }
  const std::time_t now = std::time(nullptr);
  const std::string offset = timeZoneOffset(now);
  kLog.debug("Getting CURL connection with timezone offset: '%s' ", {offset});
  const auto lent = connections_.size() > occupiedCount_ ? findIdle() : addConnection();
  Connection& connection = lent->second;
  connection.curl->addHeader("X-TZOFF", offset);
  connection.occupied = true;
  connection.destroyWhenDone = false;
  connection.timestamp = now;
  connection.userName = userName;
  connection.programName = programName;
  ++occupiedCount_;
  return connection.curl;
}

CloudConnPool::Connections::iterator CloudConnPool::findIdle() {
  const auto idle = std::ranges::find_if(
      connections_, [](const auto& connection) { return !connection.second.occupied; });
  if (idle == connections_.end()) {
    throw CloudConnException("Failed to get CURL handle for connection: data corrupted.");
  }
  kLog.debug("Got CURL connection:(%d) for cloud auth.", {numberOf(idle)});
  return idle;
}

CloudConnPool::Connections::iterator CloudConnPool::addConnection() {
  std::shared_ptr<CurlObject> fresh;
  try {
    fresh = std::make_shared<CurlObject>();
  } catch (const std::exception& e) {
    kLog.debug("%s", {e.what()});
    throw CloudConnException("Failed to get CURL handle for connection: memory failure.");
  }
  kLog.debug("Allocated new CURL connection:(%d) for cloud auth.",
             {std::to_string(connections_.size())});
  addPlatformHeaders(*fresh);
  const CurlObject* key = fresh.get();
  Connection connection;
  connection.curl = std::move(fresh);
  return connections_.emplace(key, std::move(connection)).first;
}

std::string CloudConnPool::numberOf(Connections::const_iterator connection) const {
  return std::to_string(std::distance(connections_.begin(), connection));
}

bool CloudConnPool::isExpired(const Connection& connection, std::time_t now) const {
  return now - connection.timestamp > static_cast<std::time_t>(occupiedTimeout_);
}

void CloudConnPool::releaseCurl(const CurlObject* curl) {
  if (curl == nullptr) return;
  const std::lock_guard lock(gCloudConnAccess);
  const auto found = connections_.find(curl);
  if (found == connections_.end()) return;  // given up while it was lent
  Connection& connection = found->second;
  try {
    connection.curl->reset(true);
    connection.curl->forgetUser();
  } catch (const std::exception& e) {
    kLog.error("%s", {e.what()});
    connection.destroyWhenDone = true;
  }
  kLog.debug("Release CURL connection:(%d) after cloud auth using, m_destroyWhenDone(%s).",
             {numberOf(found), connection.destroyWhenDone ? "true" : "false"});
  if (connection.occupied) --occupiedCount_;
  connection.occupied = false;
  if (connection.destroyWhenDone) connections_.erase(found);
}

void CloudConnPool::reapCurls(bool destroyWhenDone) {
  const std::lock_guard lock(gCloudConnAccess);
  reap(destroyWhenDone);
}

void CloudConnPool::reap(bool destroyWhenDone) {
  kLog.debug("Free CURL connections now.");
  const std::time_t now = std::time(nullptr);
  for (auto next = connections_.begin(); next != connections_.end();) {
    const auto current = next++;
    Connection& connection = current->second;
    if (connection.occupied && !isExpired(connection, now)) {
      connection.destroyWhenDone = destroyWhenDone;
      continue;
    }
    kLog.debug("Freed idle/expired CURL connection with timestamp: (%d)",
               {std::to_string(connection.timestamp)});
    if (connection.occupied) --occupiedCount_;
    connections_.erase(current);
  }
}

std::string CloudConnPool::dump() {
  const std::lock_guard lock(gCloudConnAccess);
  const std::time_t now = std::time(nullptr);
  std::string text = "==============Pellion MFA Service Connections Info============\n";
  text += "Pellion MFA Service Connections maximum: " + std::to_string(maxConnections_) + "\n";
  text += "Current count: " + std::to_string(connections_.size()) + "\n";
  text += "Current occupied count: " + std::to_string(occupiedCount_) + "\n";
  text += "Current timestamp: " + std::to_string(now) + "\n";
  text += "Connections: \n";
  std::size_t number = 0;
  for (const auto& [curl, connection] : connections_) {
    text += "   Connection: " + std::to_string(number++) + "\n";
    text += "       User name: " + printable(connection.userName) + "\n";
    text += "       Program name: " + printable(connection.programName) + "\n";
    text += std::string("       Occupied: ") + (connection.occupied ? "Yes" : "No") + "\n";
    text += std::string("       Expired: ") + (isExpired(connection, now) ? "Yes" : "No") + "\n";
  }
  return text;
}

void CloudConnPool::dumpPlnHeader(const CurlObject& curl) {
  kLog.debug("Dumping X-PLN-* headers:");
  for (const std::string& line : curl.responseHeaders()) {
    if (line.find("X-PLN-") != std::string::npos) kLog.debug("%s", {std::string(trim(line))});
  }
}

}  // namespace tolk
