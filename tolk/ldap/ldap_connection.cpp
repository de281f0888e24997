// The library runs on a connected socket of ours with calls of ours below it: nothing blocks,
// nothing is read beyond a search's allowance, and requests are matched to answers by their
// number.
#include "tolk/ldap/ldap_connection.h"

#include <lber.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openldap.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>
#include <vector>

#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ldap_entry.h"
#include "tolk/ldap/ldap_error.h"
#include "tolk/ldap/ldap_socket.h"
#include "tolk/net/ldap_silence.h"
#include "tolk/net/limits.h"

namespace tolk {
namespace {

constexpr std::int32_t kLdapPort = 389;
// No answer of a directory comes near. What a server sends beyond, in one message or in many, is
// not taken: an anonymous session trusts whoever answers.
constexpr std::size_t kMostBytes = std::size_t{16} << 20;
constexpr std::size_t kMostObjects = 100'000;

timeval toTimeval(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  return {.tv_sec = static_cast<time_t>(seconds.count()),
          .tv_usec = static_cast<suseconds_t>((time - seconds) / std::chrono::microseconds(1))};
}

// Everything that ldap.conf(5), ldaprc files and LDAP* variables could have set otherwise.
void setOptions(LDAP* ld) {
  const int version = LDAP_VERSION3;
  const int none = 0;
  const int neverAliases = LDAP_DEREF_NEVER;
  const timeval limit = toTimeval(configuredLimit(PN::LDAP_BIND_TIMEOUT));
  ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  ldap_set_option(ld, LDAP_OPT_DEREF, &neverAliases);
  ldap_set_option(ld, LDAP_OPT_SIZELIMIT, &none);
  ldap_set_option(ld, LDAP_OPT_TIMELIMIT, &none);
  ldap_set_option(ld, LDAP_OPT_RESTART, LDAP_OPT_ON);
  ldap_set_option(ld, LDAP_OPT_TIMEOUT, &limit);
  ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &limit);
  ldap_set_option(ld, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
  // At least signing, at most what the mechanism can; the buffer size is the library's default.
  ldap_set_option(ld, LDAP_OPT_X_SASL_SECPROPS,
                  "noplain,noanonymous,minssf=1,maxssf=2147483647,maxbufsize=65536");
}

Sockbuf* streamOf(LDAP* ld) {
  Sockbuf* stream = nullptr;
  ldap_get_option(ld, LDAP_OPT_SOCKBUF, &stream);
  return stream;
}

// Many small requests are sent without waiting for answers; holding them back would cost a round
// trip each.
void sendAtOnce(int socket) {
  const int on = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

std::vector<char*> attributePointers(const SearchRequest& request) {
  std::vector<char*> names;
  names.reserve(request.attributes.size() + 1);
  for (const std::string& name : request.attributes)
    names.push_back(const_cast<char*>(name.c_str()));
  if (!names.empty()) names.push_back(nullptr);
  return names;
}

void freeTexts(char** texts) noexcept {
  ber_memvfree(reinterpret_cast<void**>(texts));
}

bool holdsNul(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

}  // namespace

std::string serverText(const HostPort& server) {
  return server.host + ":" + std::to_string(server.port);
}

LDAPException cannotContact(const std::string& server, const std::string& reason) {
  return LDAPException(ldapMessage(LDAP_SERVER_DOWN, server, reason), LDAP_SERVER_DOWN);
}

HostPort parseServer(const std::string& hostAndPort) {
  HostPort server;
  server.port = kLdapPort;
  const std::size_t colon = hostAndPort.rfind(':');
  server.host = hostAndPort.substr(0, colon);
  bool good = !server.host.empty() && !holdsNul(server.host);
  if (colon != std::string::npos) {
    const char* end = hostAndPort.data() + hostAndPort.size();
    const auto [stop, error] = std::from_chars(hostAndPort.data() + colon + 1, end, server.port);
    good = good && error == std::errc() && stop == end && server.port > 0 && server.port <= 65535;
  }
  if (!good) {
    throw LDAPException(
        ldapMessage(LDAP_PARAM_ERROR, "", "'" + printable(hostAndPort) + "' is no host and port"),
        LDAP_PARAM_ERROR);
  }
  return server;
}

LdapConnection::LdapConnection(UniqueFd socket, HostPort server)
    : server_(std::move(server)), serverName_(serverText(server_)), allowance_(kMostBytes) {
  sendAtOnce(socket.get());
  socklen_t size = sizeof peer_;
  ::getpeername(socket.get(), reinterpret_cast<sockaddr*>(&peer_), &size);
  LDAP* ld = nullptr;
  const std::string url = "ldap://" + serverName_;
  throwIfLdap(ldap_init_fd(socket.get(), LDAP_PROTO_EXT, url.c_str(), &ld), nullptr, serverName_);
  ld_.reset(ld);
  Sockbuf* stream = streamOf(ld);
  if (stream == nullptr ||
      ber_sockbuf_add_io(stream, socketCalls(), LBER_SBIOD_LEVEL_PROVIDER, &allowance_) != 0) {
    throwIfLdap(LDAP_NO_MEMORY, nullptr, serverName_);
  }
  static_cast<void>(socket.release());
  ber_len_t most = kMostBytes;
  ber_sockbuf_ctrl(stream, LBER_SB_OPT_SET_MAX_INCOMING, &most);
  setOptions(ld);
}

int LdapConnection::descriptor() const {
  int descriptor = -1;
  ldap_get_option(ld_.get(), LDAP_OPT_DESC, &descriptor);
  return descriptor;
}

void LdapConnection::throwIfFailed(int rc) {
  if (rc == LDAP_SUCCESS) return;
  if (rc == LDAP_SERVER_DOWN) lost_ = true;
  if (lost_ && ldapDiagnostic(ld_.get()).empty()) {
    throw LDAPException(ldapMessage(rc, serverName_, "the connection is lost"), rc);
  }
  throwIfLdap(rc, ld_.get(), serverName_);
}

int LdapConnection::send(const SearchRequest& request, LDAPControl* control) {
  if (lost_) throwIfFailed(LDAP_SERVER_DOWN);
  ldap_set_option(ld_.get(), LDAP_OPT_DIAGNOSTIC_MESSAGE, nullptr);
  if (holdsNul(request.base) || holdsNul(request.filter)) throwIfFailed(LDAP_PARAM_ERROR);
  allowance_ = kMostBytes;
  std::vector<char*> names = attributePointers(request);
  LDAPControl* controls[] = {control, nullptr};
  int id = -1;
  throwIfFailed(ldap_search_ext(
      ld_.get(), request.base.c_str(), request.scope, request.filter.c_str(),
      names.empty() ? nullptr : names.data(), (request.flags & SearchFlags::typesOnly) != 0,
      control == nullptr ? nullptr : controls, nullptr, nullptr, request.sizeLimit, &id));
  return id;
}

SearchBudget LdapConnection::budgetFor(const SearchRequest& request) {
  if (request.timeLimitSeconds > 0) {
    return SearchBudget({std::chrono::seconds(request.timeLimitSeconds), ""});
  }
  return SearchBudget(configuredWait(PN::LDAP_SEARCH_TIMEOUT));
}

// Null when nothing came in time.
LdapMessage LdapConnection::readMessage(int id, std::chrono::milliseconds limit) {
  if (lost_) throwIfFailed(LDAP_SERVER_DOWN);
  ldap_set_option(ld_.get(), LDAP_OPT_DIAGNOSTIC_MESSAGE, nullptr);
  timeval wait = toTimeval(limit);
  LDAPMessage* message = nullptr;
  const int type = ldap_result(ld_.get(), id, LDAP_MSG_ONE, &wait, &message);
  LdapMessage owner(message);
  if (type < 0) {
    lost_ = true;  // also after an answer that makes no sense: what follows it could not be trusted
    if (allowance_ == 0) throwOversized(std::to_string(kMostBytes >> 20) + " MiB");
    int rc = LDAP_SERVER_DOWN;
    ldap_get_option(ld_.get(), LDAP_OPT_RESULT_CODE, &rc);
    throwIfFailed(rc == LDAP_SUCCESS ? LDAP_SERVER_DOWN : rc);
  }
  if (type > 0 && !std::exchange(answered_, true)) noteSessionAnswer(peer_);
  return owner;
}

WaitLimit LdapConnection::bindLimit() const {
  WaitLimit limit = configuredWait(PN::LDAP_BIND_TIMEOUT);
  if (answered_) return limit;
  const auto rest = remainingSessionLimit(peer_, limit.time);
  if (rest < limit.time) limit = {rest, "what an earlier silence has left of " + limit.source};
  return limit;
}

void LdapConnection::throwTimeout(const WaitLimit& limit, const char* missing) const {
  std::string detail = std::string("no ") + missing + " within " + limitText(limit.time);
  if (!answered_) noteSessionSilence(peer_, limit.time);
  if (!limit.source.empty()) detail += " (" + limit.source + ")";
  throw LDAPException(ldapMessage(LDAP_TIMEOUT, serverName_, detail), LDAP_TIMEOUT);
}

void LdapConnection::throwOversized(const std::string& detail) {
  lost_ = true;  // what follows could not be trusted
  const std::string reason = "the server sent more than " + detail + " to one search";
  throw LDAPException(ldapMessage(LDAP_PROTOCOL_ERROR, serverName_, reason), LDAP_PROTOCOL_ERROR);
}

void LdapConnection::throwIfOversized(const SearchBudget& budget) {
  if (budget.bytes() > kMostBytes) throwOversized(std::to_string(kMostBytes >> 20) + " MiB");
  if (budget.answers() > kMostObjects) throwOversized(std::to_string(kMostObjects) + " objects");
}

LdapMessage LdapConnection::nextMessage(int id, const WaitLimit& limit) {
  LdapMessage message = readMessage(id, limit.time);
  if (message == nullptr) throwTimeout(limit);
  return message;
}

SearchResult LdapConnection::receive(int id, const SearchRequest& request) {
  SearchBudget budget = budgetFor(request);
  return receive(id, request, budget);
}

SearchResult LdapConnection::receive(int id, const SearchRequest& request, SearchBudget& budget) {
  try {
    return collect(id, request, budget);
  } catch (...) {
    abandon(id);
    throw;
  }
}

SearchResult LdapConnection::collect(int id, const SearchRequest& request, SearchBudget& budget) {
  const auto started = std::chrono::steady_clock::now();
  SearchResult result;
  allowance_ = kMostBytes;
  // What has come by the end of the time still counts, so this is no reason to stop later on.
  if (budget.left(started).time == budget.left(started).time.zero()) {
    throwTimeout(budget.whole(), "whole answer");
  }
  for (const char* missing = "answer";; missing = "whole answer") {
    const WaitLimit left = budget.left(started);
    // An anonymous session sends no bind: its first answer is what shows that the server is there.
    const WaitLimit first = bindLimit();
    const bool bind = !answered_ && request.timeLimitSeconds == 0 && first.time < left.time;
    const LdapMessage message = readMessage(id, bind ? first.time : left.time);
    if (message == nullptr) throwTimeout(bind ? first : budget.whole(), missing);
    if (take(message.get(), request, result)) break;
    budget.earn(1);
  }
  budget.spend(std::chrono::steady_clock::now() - started);
  budget.take(kMostBytes - allowance_);
  return result;
}

bool LdapConnection::poll(int id, const SearchRequest& request, SearchResult& result) {
  while (const LdapMessage message = readMessage(id, std::chrono::milliseconds::zero())) {
    if (take(message.get(), request, result)) return true;
  }
  return false;
}

// True for the message that ends a search. References to other servers are left out. At its base
// alone a search finds one object at most (RFC 4511, 4.5.1.2).
bool LdapConnection::take(LDAPMessage* message, const SearchRequest& request,
                          SearchResult& result) {
  const int type = ldap_msgtype(message);
  if (type == LDAP_RES_SEARCH_RESULT) {
    finish(message, request, result);
    return true;
  }
  if (type == LDAP_RES_SEARCH_ENTRY) {
    const std::size_t most = request.scope == SearchScope::base ? 1 : kMostObjects;
    if (result.objects.size() == most) {
      throwOversized(std::to_string(most) + (most == 1 ? " object" : " objects"));
    }
    ADObject object;
    throwIfFailed(parseEntry(ld_.get(), message, object));
    result.objects.push_back(std::move(object));
  }
  return false;
}

void LdapConnection::finish(LDAPMessage* message, const SearchRequest& request,
                            SearchResult& result) {
  char** places = nullptr;
  LDAPControl** list = nullptr;
  const int rc =
      ldap_parse_result(ld_.get(), message, &result.code, nullptr, nullptr, &places, &list, 0);
  const std::unique_ptr<char*, Releaser<freeTexts>> referral(places);
  const std::unique_ptr<LDAPControl*, Releaser<ldap_controls_free>> controls(list);
  throwIfFailed(rc);
  if (result.code == LDAP_REFERRAL && places != nullptr && *places != nullptr) {
    throw LDAPException(ldapMessage(LDAP_REFERRAL, serverName_,
                                    "to " + printable(*places) + ", which is not followed"),
                        LDAP_REFERRAL);
  }
  const bool asked = result.code == LDAP_SIZELIMIT_EXCEEDED && request.sizeLimit > 0;
  if (asked) result.code = LDAP_SUCCESS;
  if (result.code != LDAP_NO_SUCH_OBJECT) throwIfFailed(result.code);
  if (result.code == LDAP_NO_SUCH_OBJECT && request.scope != SearchScope::base) {
    noteTrouble("tolk.ldap", serverName_ + " has no object '" + printable(request.base) +
                                 "': a search below it finds nothing");
  }
  if (list != nullptr) throwIfFailed(parsePageCookie(ld_.get(), list, result.cookie));
}

void LdapConnection::abandon(int id) noexcept {
  if (!lost_) ldap_abandon_ext(ld_.get(), id, nullptr, nullptr);
}

}  // namespace tolk
