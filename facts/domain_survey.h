// The domain as DNS and its controllers show it: records, addresses, ports, all waits together.
#pragma once

#include <deque>
#include <set>
#include <string>

#include "facts/endpoint_probe.h"
#include "facts/facts.h"
#include "facts/gathering.h"

namespace joinscope::facts {

class DomainSurvey {
 public:
  DomainSurvey(const Inquiry& inquiry, const Question& question, const Facts& local);

  /// Asks the controllers whose addresses need no DNS.
  void start();
  /// Goes on by this name server, once.
  void askDns(const std::string& server);

  /// What is known by now.
  [[nodiscard]] Network network() const;

 private:
  void askRecords(const std::string& service, const std::string& domain, const char* source);
  void askSite(const std::string& site);
  void askCatalogs(const std::string& forest);
  void askOwnNames();
  void addController(const std::string& text, const char* source);
  void namedAgain(Controller& controller, const char* source);
  void lookUp(Controller& controller, tolk::DnsType type);
  void addEndpoint(Controller& controller, const std::string& address, const char* source);
  void probe(const Controller& controller, Endpoint& endpoint);
  void askPointer(Endpoint& endpoint);
  void pinged(const Endpoint& endpoint);
  [[nodiscard]] tolk::DnsQuestion dnsQuestion(std::string name, tolk::DnsType type) const;

  Inquiry inquiry_;
  const Question& question_;
  const Facts& local_;
  std::string domain_;
  std::string server_;  // of DNS; "" while none is known
  Network network_;     // without records and controllers, which must stay where they are:
  std::deque<ServiceRecords> records_;
  std::deque<Controller> controllers_;
  std::set<std::string> asked_;  // names of records
  std::size_t room_;             // for endpoints, by the limit of open files
};

/// This host's full name: as joined, else with the domain behind the host name where it has none.
std::string ownFullName(const Facts& local);

}  // namespace joinscope::facts
