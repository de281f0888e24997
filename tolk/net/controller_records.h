// Where the names of a domain's controllers come from: the site's and the domain's service records,
// then the plain ones, then the configuration.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tolk/net/dc_info.h"
#include "tolk/net/dns.h"

namespace tolk {

/// A site's name as one label of a DNS name (RFC 1035, 5.1).
std::string siteLabel(const std::string& site);

/// The controllers that one source named.
struct NamedControllers {
  HostPortList list;
  std::string site;  ///< of whose records they are; empty for those of the whole domain
};

/// The record lookups of one search.
class ControllerRecords {
 public:
  ControllerRecords(EventLoop& loop, std::string domain, ServiceType::Enum type);

  /// Starts the lookup of the controllers of the whole domain, or of one site; a site that was
  /// asked already is not asked again.
  void askDomain();
  void askSite(const std::string& site);

  /// What has come since the last call. When nothing has come at all and nothing is under way any
  /// more, goes on to the next source.
  std::vector<NamedControllers> take();

  [[nodiscard]] bool pending() const noexcept { return !lookups_.empty() || !exhausted_; }
  [[nodiscard]] bool pending(const std::string& site) const;
  /// Whether the controllers of some site were asked for.
  [[nodiscard]] bool siteAsked() const noexcept { return !askedSites_.empty(); }

  /// Why DNS gave nothing; empty when it answered.
  [[nodiscard]] const std::string& failure() const noexcept { return failure_; }

 private:
  struct Lookup {
    Pending<HostPortList> records;
    std::string site;
  };

  void lookUp(const std::string& name, const std::string& site);
  void nextSource(std::vector<NamedControllers>& out);

  EventLoop& loop_;
  std::string domain_;
  ServiceType::Enum type_;
  std::vector<Lookup> lookups_;
  std::set<std::string> askedSites_;
  std::string failure_;
  bool found_ = false;
  bool askedPlain_ = false;
  bool exhausted_ = false;
};

}  // namespace tolk
