#include "tolk/ntlm/ad_ntlm.h"

#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/net/dns.h"
#include "tolk/net/network_state.h"
#include "tolk/net/sockets.h"
#include "tolk/ntlm/ntlm_text.h"

namespace tolk {
namespace {

constexpr in_port_t kSmbPort = 445;

struct Target {
  std::string server;
  std::vector<sockaddr_in> addresses;
};

Target namedController(const std::string& server) {
  Target target{server.substr(0, server.find(':')), {}};
  EventLoop loop;
  for (const in_addr address : startHostLookup(loop, target.server).wait()) {
    target.addresses.push_back(socketAddress(address, kSmbPort));
  }
  if (target.addresses.empty()) throw TOLKException(server + ": the name has no address");
  return target;
}

Target controllerOf(const std::string& domain) {
  const std::string server =
      NetworkState::getDCForDomain(domain, ServiceType::domainController, false, "", false);
  if (server.empty()) throw TOLKException("No domain to look for a controller of");
  const in_addr address = NetworkState::getDCInfo(server, false)->address.sin_addr;
  return {server, {socketAddress(address, kSmbPort)}};
}

// The search as it is, other failures of it as the kind that this folder promises.
Target findController(const std::string& server, const std::string& domain) {
  try {
    return server.empty() ? controllerOf(domain) : namedController(server);
  } catch (const TOLKException&) {
    throw;
  } catch (const Base_Exception& failure) {
    throw TOLKException((server.empty() ? domain : server) + ": " + failure.what(), failure.code());
  }
}

}  // namespace

ADNTLM::ADNTLM(const std::string& user, const std::string& domain, const std::string& server)
    : user_(user),
      realm_(ntlmUpperCase(domain)),
      server_(server),
      reader_("", "", user, Shredder(), 0, 2, false) {}

void ADNTLM::init(const std::string& type1) {
  const Target target = findController(server_, realm_);
  Logger::GetThreadPrivateLogger("base.ntlm")
      .log(LogLevel::debug, "logon of " + user_ + " in " + realm_ + " through " + target.server);
  smbUser_.connect(target.server, target.addresses);
  std::string challenge = smbUser_.startSession(type1);
  try {
    reader_.setMsgType2(challenge);
  } catch (const TOLKException& failure) {
    throw TOLKException(target.server + ": " + failure.what());
  }
  challenge_ = std::move(challenge);
}

int ADNTLM::authenticate(const std::string& type3, std::string& out) {
  return smbUser_.finishSession(type3, out);
}

}  // namespace tolk
