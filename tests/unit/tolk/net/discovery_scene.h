// Controllers, good and bad, in a network and a DNS of the tests' own.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "tests/unit/tolk/net/cldap_messages.h"
#include "tests/unit/tolk/net/dns_zone.h"
#include "tests/unit/tolk/net/sandbox.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/net/discovery.h"

namespace tolk {

inline constexpr const char* kDomainRecord = "_ldap._tcp.dc._msdcs.lab.test";

enum class Udp { answers, answersLate, silent, closed };
enum class Tcp { asUdp, closed, mute, answers };

/// One controller of the scene; its host is NAME.lab.test.
struct Controller {
  const char* name;
  Udp udp = Udp::answers;
  test::NetlogonFields says = {};
  std::vector<std::string> records = {kDomainRecord};
  std::uint16_t priority = 0;
  Tcp tcp = Tcp::asUdp;
  bool resolvable = true;
};

inline test::NetlogonFields inSite(const char* dcSite, const char* clientSite = "Near",
                                   std::uint32_t flags = 0x137d) {
  test::NetlogonFields fields;
  fields.flags = flags;
  fields.dcSite = dcSite;
  fields.clientSite = clientSite;
  return fields;
}

inline test::NetlogonFields inDomain(const std::string& domain) {
  test::NetlogonFields fields;
  fields.domain = domain;
  return fields;
}

class DiscoveryScene : public test::Sandbox {
 protected:
  void SetUp() override {
    Sandbox::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("/etc/resolv.conf", "nameserver 127.0.0.1\n");
    write("/etc/hosts", "");
    write("/var/orvald/kset.domain", "");
    // So long that a test which ends has not waited for them.
    Props().set(PN::VELKD_DNS_RESPONSE_MAXTIME, "3600");
    Props().set(PN::NET_DISCOVERY_TIMEOUT, "3600");
  }

  void setUp(const std::vector<Controller>& controllers) {
    server_ = std::make_unique<test::LoopbackServer>();
    for (const Controller& controller : controllers) add(controller);
    zone_.serve(*server_);
    server_->start();
  }

  // The host that is found, or why none is.
  static std::string find(const DiscoveryRequest& request) {
    try {
      const DCInfo info = discoverController(request).info;
      return info.host + (info.flags == DCInfo::kUnverified ? " (unverified)" : "");
    } catch (const TOLKException& failure) {
      return failure.what();
    }
  }

  test::DnsZone zone_;
  std::unique_ptr<test::LoopbackServer> server_;
  std::atomic<int> pings_ = 0;

 private:
  void add(const Controller& controller) {
    const std::string address = "127.0.1." + std::to_string(++last_);
    const std::string host = std::string(controller.name) + ".lab.test";
    if (controller.resolvable) zone_.a(host, address);
    for (const std::string& record : controller.records) {
      zone_.srv(toLower(record), controller.priority, 100, 389, host);
    }
    if (controller.udp != Udp::closed) {
      server_->udp(
          [this, controller](const std::string& request) { return ping(controller, request); },
          address, 389);
    }
    const bool alive = controller.udp != Udp::closed && controller.udp != Udp::silent;
    if (controller.tcp == Tcp::closed || (controller.tcp == Tcp::asUdp && !alive)) return;
    const auto talk = [controller](const std::string& request) -> std::optional<std::string> {
      if (controller.tcp != Tcp::answers) return std::nullopt;
      return test::netlogonReply(request, controller.says);
    };
    for (const in_port_t port : std::array<in_port_t, 3>{389, 88, 3268}) {
      server_->tcp(talk, address, port);
    }
  }

  std::vector<std::string> ping(const Controller& controller, const std::string& request) {
    const int number = ++pings_;
    if (controller.udp == Udp::answersLate && number <= 2) return {};  // the first to each of two
    if (controller.udp == Udp::silent) return {};
    return {test::netlogonReply(request, controller.says)};
  }

  int last_ = 0;
};

}  // namespace tolk
