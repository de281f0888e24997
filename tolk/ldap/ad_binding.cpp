// A bind finds a server, gets tickets for it, connects, binds with them; when the server is at
// fault, it is passed over and the next one tried. Lost connections go the same way.
#include "tolk/ldap/ad_binding.h"

#include <arpa/inet.h>

#include <algorithm>
#include <boost/make_shared.hpp>
#include <optional>
#include <set>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/binding_tickets.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/ldap/gssapi_bind.h"
#include "tolk/ldap/ldap_connection.h"
#include "tolk/net/network_state.h"

namespace tolk {
namespace {

constexpr std::int32_t kGlobalCatalogPort = 3268;

// The same callback with data of its own; none when the data cannot be copied.
InitialCredentialsCallback duplicate(const InitialCredentialsCallback& from) {
  if (from.data == nullptr || from.copy == nullptr || from.release == nullptr) return from;
  void* data = nullptr;
  if (from.copy(from.data.get(), &data) != 0) return {};
  InitialCredentialsCallback out = from;
  out.data = CallbackData(data, from.release);
  return out;
}

bool isAddress(const std::string& host) {
  in_addr address{};
  return ::inet_pton(AF_INET, host.c_str(), &address) == 1;
}

std::string withoutFinalDot(std::string name) {
  if (name.ends_with('.')) name.pop_back();
  return name;
}

// Whether it is this controller that fails, so that another may serve: not what Kerberos says of
// the account, nor a fault of this host.
bool isControllers(const Base_Exception& failure) {
  if (dynamic_cast<const LDAPException*>(&failure) != nullptr) {
    return failure.code() != LDAP_LOCAL_ERROR && failure.code() != LDAP_NO_MEMORY &&
           failure.code() != LDAP_PARAM_ERROR;
  }
  return dynamic_cast<const KerberosException*>(&failure) != nullptr &&
         failure.code() == static_cast<int>(KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN);
}

// Whether a controller has gone silent or away, as opposed to answering with an error.
bool isGone(const LDAPException& failure) {
  return failure.code() == LDAP_SERVER_DOWN || failure.code() == LDAP_TIMEOUT ||
         failure.code() == LDAP_CONNECT_ERROR || failure.code() == LDAP_UNAVAILABLE;
}

void wipe(Shredder* secret) noexcept {
  secret->wipe();
}

// The name by which Kerberos knows the server: its own, or for an address the name that the server
// gives itself.
std::string hostNameOf(const HostPort& target) {
  if (!isAddress(target.host)) return target.host;
  static constexpr const char* kAttributes[] = {AD_DNS_HOST_NAME, nullptr};
  LDAPBinding anonymous;
  anonymous.connectToServer(serverText(target));
  const ADObject rootDse = anonymous.fetch("", kAttributes, AD_ALL_OBJECTS, false);
  return toLower(rootDse.getString(AD_DNS_HOST_NAME, target.host));
}

}  // namespace

struct ADBinding::Impl {
  std::string domain;
  KerberosContext* context = nullptr;
  std::string server;             // no other will do; empty: the search chooses
  bool aliasAllowed = false;      // for the server
  int port = 0;                   // replaces the service's own
  std::optional<HostPort> first;  // where the search would choose: tried before it
  std::string site;
  std::string forest;  // known when this was made from another binding
  bool writable = false;
  bool rediscover = false;
  bool globalCatalog = false;

  std::string user;  // with password: the way to the first ticket
  Shredder password;
  std::string cacheName;  // without: where the tickets are
  bool inPlace = false;
  boost::shared_ptr<BindingTickets> tickets;
  InitialCredentialsCallback callback;

  std::optional<HostPort> bound;  // the server in use
  ADObject rootDse;               // of that server, read on demand

  [[nodiscard]] ServiceType::Enum service() const noexcept {
    return globalCatalog ? ServiceType::globalCatalog : ServiceType::domainController;
  }
  [[nodiscard]] HostPort findServer(bool anew) const;
  [[nodiscard]] std::optional<HostPort> insteadOf(const HostPort& failed,
                                                  const std::string& reason) const;
  [[nodiscard]] std::string realmOf(const std::string& host) const;
  void obtainTickets(const LdapServer& target);
};

HostPort ADBinding::Impl::findServer(bool anew) const {
  std::string name = server;
  if (name.empty()) {
    try {
      name = NetworkState::getDCForDomain(globalCatalog ? forest : domain, service(), writable,
                                          site, anew);
    } catch (const TOLKException& failure) {
      throw NotFoundException(failure.what());
    }
    if (name.empty()) throw NotFoundException("No domain controller: no domain is named");
  }
  HostPort target = parseServer(name);
  if (globalCatalog && name.find(':') == std::string::npos) target.port = kGlobalCatalogPort;
  if (port != 0) target.port = port;
  target.host = toLower(withoutFinalDot(target.host));
  return target;
}

// The next controller when the one that the search has chosen fails; none when the user has chosen
// it, or when there is no other.
std::optional<HostPort> ADBinding::Impl::insteadOf(const HostPort& failed,
                                                   const std::string& reason) const {
  if (!server.empty()) return std::nullopt;
  NetworkState::passOver(failed.host, service(), reason);
  try {
    HostPort next = findServer(false);
    if (next.host != failed.host) return next;
  } catch (const NotFoundException&) {
    // The failure at hand says more.
  }
  return std::nullopt;
}

// Controllers of the domain are in its realm. A global catalog may belong to any domain of the
// forest: it says which itself, and its name's suffix is the next best hint.
std::string ADBinding::Impl::realmOf(const std::string& host) const {
  const std::string suffix = host.substr(std::min(host.find('.') + 1, host.size()));
  if (!globalCatalog || suffix.empty() || equalsIgnoringCase(suffix, domain))
    return toUpper(domain);
  try {
    const boost::shared_ptr<DCInfo> info = NetworkState::getDCInfo(host, false);
    if (!info->domain.empty()) return toUpper(info->domain);
  } catch (const TOLKException&) {
    // It answers LDAP but no ping.
  }
  return toUpper(suffix);
}

void ADBinding::Impl::obtainTickets(const LdapServer& target) {
  if (tickets == nullptr) {
    tickets = cacheName.empty() ? BindingTickets::forUser(*context, user, domain)
                                : BindingTickets::fromCache(*context, cacheName, inPlace);
  }
  if (callback.function == nullptr && cacheName.empty() && !password.empty()) {
    tickets->obtain(
        {.function = gic_with_password_callback, .data = boost::make_shared<Shredder>(password)},
        target);
  } else {
    tickets->obtain(callback, target);
  }
}

ADBinding::ADBinding(const std::string& domain, const std::string& user, const Shredder& password,
                     KerberosContext* context, const std::string& site, bool writable,
                     const std::string& server, bool rediscover)
    : impl_(std::make_unique<Impl>()) {
  impl_->domain = withoutFinalDot(toLower(domain));
  impl_->context = context;
  impl_->server = server;
  impl_->site = site;
  impl_->writable = writable;
  impl_->rediscover = rediscover;
  impl_->user = user;
  impl_->password = password;
}

ADBinding::ADBinding(const std::string& domain, const std::string& cacheName,
                     KerberosContext* context, bool inPlace, const std::string& server,
                     const std::string& site, bool writable, bool rediscover)
    : ADBinding(domain, std::string(), Shredder(), context, site, writable, server, rediscover) {
  impl_->cacheName = cacheName;
  impl_->inPlace = inPlace;
}

ADBinding::ADBinding(ADBinding& from, bool globalCatalog) : impl_(std::make_unique<Impl>()) {
  impl_->domain = from.impl_->domain;
  impl_->context = from.impl_->context;
  impl_->site = from.impl_->site;
  impl_->globalCatalog = globalCatalog;
  impl_->aliasAllowed = from.impl_->aliasAllowed;
  impl_->cacheName = from.impl_->cacheName;
  impl_->tickets = from.impl_->tickets;
  impl_->callback = duplicate(from.impl_->callback);
  impl_->forest = from.forestName();
  const bool catalogToo = equalsIgnoringCase(from.rootDse().getString(AD_GC_READY, ""), "TRUE");
  HostPort bound = from.impl_->bound.value_or(HostPort());  // there is one: it was asked
  if (!globalCatalog) {
    impl_->server = serverText(bound);
  } else if (catalogToo && !from.impl_->server.empty()) {
    impl_->server = bound.host;
  } else if (catalogToo) {
    bound.port = kGlobalCatalogPort;
    impl_->first = bound;
  }
}

ADBinding::~ADBinding() = default;

void ADBinding::allowAlias() noexcept {
  impl_->aliasAllowed = true;
}

std::string ADBinding::cacheName() const {
  return impl_->tickets == nullptr ? std::string() : impl_->tickets->cacheName();
}

std::string ADBinding::wholeTree() const {
  return impl_->globalCatalog ? std::string() : DNSNameToDN(impl_->domain);
}

void ADBinding::setInitialCredentialsCallback(InitialCredentialsFunction function,
                                              CallbackData data, CallbackDataCopy copy,
                                              CallbackDataFree release) {
  impl_->callback = {function, std::move(data), copy, release};
}

void ADBinding::connect(const std::string& server, const std::string& site, int port) {
  if (!server.empty()) impl_->server = server;
  if (!site.empty()) impl_->site = site;
  // On every way out: what comes later lives on the tickets.
  const std::unique_ptr<Shredder, Releaser<wipe>> wiper(&impl_->password);
  if (port != 0) impl_->port = port;
  const std::optional<HostPort>& first = impl_->first;
  openFirst(first ? *first : impl_->findServer(impl_->rediscover));
}

// Each controller is tried once: those that fail stay behind all others.
void ADBinding::openFirst(HostPort target) {
  std::set<std::string> tried;
  while (true) {
    tried.insert(target.host);
    std::optional<HostPort> next;
    try {
      return open(target);
    } catch (const Base_Exception& failure) {
      if (isControllers(failure)) next = impl_->insteadOf(target, failure.what());
      if (next && !tried.contains(next->host)) {
        target = *next;
        continue;
      }
      const bool rejected = dynamic_cast<const LDAPException*>(&failure) != nullptr &&
                            failure.code() == LDAP_INVALID_CREDENTIALS;
      if (!rejected || !impl_->cacheName.empty()) throw;
      throw BaseException(failure.what(), BindError::kCredentialsUnusable);
    }
  }
}

void ADBinding::open(const HostPort& target) {
  const std::string host = hostNameOf(target);
  const std::shared_ptr<LdapConnection> connection = LdapConnection::open(target, host);
  const std::string realm = impl_->realmOf(host);
  // What goes by an address has told its name itself.
  const bool named = impl_->aliasAllowed && !impl_->server.empty() && !isAddress(target.host);
  impl_->obtainTickets({.host = host, .realm = realm, .named = named});
  bindGssapi(*connection, *impl_->tickets, host, realm);
  adopt(connection);
  impl_->bound = target;
  impl_->rootDse = ADObject();
}

void ADBinding::reopen() {
  const std::optional<HostPort> bound = impl_->bound;
  if (!bound) throw LDAPException("Not connected to a directory server", LDAP_CONNECT_ERROR);
  openFirst(*bound);
}

ADObjectList ADBinding::run(const SearchRequest& request) {
  try {
    return LDAPBinding::run(request);
  } catch (const LDAPException& failure) {
    if (!moveOn(failure)) throw;
  }
  return LDAPBinding::run(request);
}

bool ADBinding::moveOn(const LDAPException& failure) {
  const std::optional<HostPort> bound = impl_->bound;
  if (!bound || !isGone(failure)) return false;
  const std::optional<HostPort> next = impl_->insteadOf(*bound, failure.what());
  if (next) openFirst(*next);
  return next.has_value();
}

const ADObject& ADBinding::rootDse() {
  static constexpr const char* kAttributes[] = {AD_ROOT_NAMING_CTX, AD_CONFIG_NAMING_CTX,
                                                AD_GC_READY, nullptr};
  if (!impl_->rootDse) impl_->rootDse = fetch("", kAttributes, AD_ALL_OBJECTS, true);
  return impl_->rootDse;
}

const std::string& ADBinding::domainName() const noexcept {
  return impl_->domain;
}

std::string ADBinding::forestName() {
  return toLower(DN::domainFromDN(rootDse().getString(AD_ROOT_NAMING_CTX, "")));
}

std::string ADBinding::configurationContext() {
  return rootDse().getString(AD_CONFIG_NAMING_CTX, "");
}

bool ADBinding::isMixedMode() {
  static constexpr const char* kAttributes[] = {AD_MIXED_DOMAIN, nullptr};
  const ADObject domain = fetch(DNSNameToDN(impl_->domain), kAttributes, AD_ALL_OBJECTS, true);
  return domain.getInt(AD_MIXED_DOMAIN, 0) != 0;
}

}  // namespace tolk
