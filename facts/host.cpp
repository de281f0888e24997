// From uname(2), sysconf(3), the interfaces and DNS.
#include "facts/host.h"

#include <unistd.h>

#include <exception>
#include <list>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/os_version.h"
#include "tolk/net/dns.h"
#include "tolk/net/interfaces.h"

namespace joinscope {

HostFacts readHostFacts() {
  HostFacts facts;
  utsname system{};
  if (uname(&system) == 0) facts.system = system;
  tolk::OSVersion(facts.osName, facts.osVersion);
  facts.onlineCpus = sysconf(_SC_NPROCESSORS_ONLN);
  return facts;
}

IpFacts readIpFacts() {
  IpFacts facts{.shortName = tolk::shortLocalHostName(), .interfaceProblem = {}, .addresses = {}};
  try {
    std::list<tolk::InterfaceDescription> interfaces;
    tolk::GetIpAddresses(interfaces, 1, false);
    for (const tolk::InterfaceDescription& interface : interfaces) {
      facts.addresses.push_back(tolk::InetNToA(interface.address));
    }
  } catch (const std::exception& e) {
    facts.interfaceProblem = e.what();
  }
  return facts;
}

ReverseLookups::ReverseLookups(const std::vector<std::string>& addresses) {
  lookups_.reserve(addresses.size());
  for (const std::string& address : addresses) {
    lookups_.push_back(tolk::startPtrLookup(loop_, address));
  }
}

ReverseNames ReverseLookups::namesOf(std::size_t index) {
  ReverseNames answer;
  try {
    for (tolk::HostPort& record : lookups_.at(index).wait()) {
      answer.names.push_back(std::move(record.host));
    }
  } catch (const tolk::DNSUnavailableException& e) {
    answer.dnsProblem = e.what();
  }
  return answer;
}

}  // namespace joinscope
