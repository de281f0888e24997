// init() brings the client's first message to a controller and the challenge back; authenticate()
// brings the second, and requireProof() tests the server's signature.
#include "tolk/ntlm/ad_ntlm.h"

#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/net/dns.h"
#include "tolk/net/host_query.h"
#include "tolk/net/netbios_domain.h"
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
  const std::string server = NetworkState::getDCForDomain(
      dnsNameOfDomain(domain), ServiceType::domainController, false, "", false);
  if (server.empty()) throw TOLKException("No domain to look for a controller of");
  const in_addr address = NetworkState::getDCInfo(server, false)->address.sin_addr;
  return {server, {socketAddress(address, kSmbPort)}};
}

// Names as the protocol has them: the upper case decides.
bool sameName(const std::string& upperCase, const std::string& name) {
  return !name.empty() && ntlmUpperCase(name) == upperCase;
}

bool isDomain(const std::string& upperCase, const NtlmChallenge& challenge) {
  return sameName(upperCase, challenge.dnsDomain) || sameName(upperCase, challenge.netbiosDomain);
}

// The password of another domain's user would be checked, or nobody's.
void requireDomain(const NtlmChallenge& challenge, const std::string& domain,
                   const std::string& user) {
  if (challenge.dnsDomain.empty() && challenge.netbiosDomain.empty()) {
    throw TOLKException("The NTLM challenge does not say of which domain the server is");
  }
  const std::string own = challenge.dnsDomain.empty()
                              ? challenge.netbiosDomain
                              : challenge.dnsDomain + " (" + challenge.netbiosDomain + ")";
  if (!isDomain(domain, challenge)) {
    throw TOLKException("the server is of the domain " + own + ", not of " + domain);
  }
  const std::string named = splitAccountName(user, {}).domain;
  if (!named.empty() && !isDomain(ntlmUpperCase(named), challenge)) {
    throw TOLKException("the server is of the domain " + own + ", the user of " + named +
                        ": name the domain of the user as the one to ask, by its DNS name");
  }
}

// The search as it is, other failures of it as the kind that this folder promises.
Target findController(const std::string& server, const std::string& domain) {
  try {
    return server.empty() ? controllerOf(domain) : namedController(server);
  } catch (const TOLKException& failure) {
    if (!server.empty() || domain.find('.') != std::string::npos) throw;
    throw TOLKException(failure.what() + std::string("; name the domain by its DNS name"));
  } catch (const Base_Exception& failure) {
    throw TOLKException((server.empty() ? domain : server) + ": " + failure.what(), failure.code());
  }
}

}  // namespace

ADNTLM::ADNTLM(const std::string& user, const std::string& domain, const std::string& server)
    : user_(user),
      realm_(ntlmUpperCase(domain.substr(0, domain.find_last_not_of('.') + 1))),
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
    requireDomain(reader_.challenge(), realm_, user_);
  } catch (const TOLKException& failure) {
    throw TOLKException(target.server + ": " + failure.what());
  }
  challenge_ = std::move(challenge);
}

int ADNTLM::authenticate(const std::string& type3, std::string& out) {
  return smbUser_.finishSession(type3, out);
}

void ADNTLM::requireProof(const NtlmKey& sessionKey) const {
  Logger& logger = Logger::GetThreadPrivateLogger("base.ntlm");
  try {
    smbUser_.requireSignature(sessionKey);
  } catch (const TOLKException& failure) {
    logger.log(LogLevel::warning, failure.what());
    throw;
  }
  logger.log(LogLevel::debug, smbUser_.server() + " has signed that it knows " + user_);
}

}  // namespace tolk
