// The domain as kinit(1), SSSD and ssh(1) see it: a Kerberos context with the host's own
// configuration and search for servers, and the C library's names.
#include <netdb.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "facts/directory_reads.h"
#include "facts/gathering.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/memory_ccache.h"
#include "tolk/krb5/plain_context.h"
#include "tolk/net/network_state.h"
#include "tolk/net/probes.h"
#include "tolk/net/sockets.h"

namespace joinscope::facts {
namespace {

using AddressList = std::unique_ptr<addrinfo, tolk::Releaser<::freeaddrinfo>>;

AddressList lookUp(const std::string& host) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  const int code = ::getaddrinfo(host.c_str(), nullptr, &hints, &list);
  if (code != 0) throw tolk::NotFoundException(host + ": " + ::gai_strerror(code), code);
  return AddressList(list);
}

std::vector<std::string> textsOf(const AddressList& list) {
  std::vector<std::string> texts;
  for (const addrinfo* entry = list.get(); entry != nullptr; entry = entry->ai_next) {
    const std::string text =
        tolk::addressText(*reinterpret_cast<const sockaddr_in*>(entry->ai_addr));
    texts.push_back(text.substr(0, text.rfind(':')));
  }
  return texts;
}

/// Whether somebody accepts connections where a kdc line points to: "host", "host:port",
/// "tcp/host:port".
class KdcProbe {
 public:
  KdcProbe(tolk::EventLoop& loop, const std::string& line)
      : lookup_(ask([&] { probe_ = tolk::startConnectProbe(loop, addressIn(line)); })) {}

  Asked take() {
    if (!lookup_.answered()) return lookup_;
    return ask([this] {
      const tolk::ProbeOutcome outcome = probe_.wait();
      if (outcome.result == tolk::ConnectResult::kRefused)
        throw tolk::IOException(outcome.reason, ECONNREFUSED);
      if (outcome.result != tolk::ConnectResult::kConnected)
        throw tolk::TimeoutException(outcome.reason, outcome.error);
    });
  }

 private:
  static sockaddr_in addressIn(std::string line) {
    line.erase(0, line.find('/') + 1);
    constexpr in_port_t kKdcPort = 88;
    const std::size_t colon = line.find(':');
    const AddressList list = lookUp(line.substr(0, colon));
    const in_port_t port = colon == std::string::npos
                               ? kKdcPort
                               : static_cast<in_port_t>(std::atoi(line.c_str() + colon + 1));
    const in_addr address = reinterpret_cast<const sockaddr_in*>(list->ai_addr)->sin_addr;
    return tolk::socketAddress(address, port);
  }

  tolk::Pending<tolk::ProbeOutcome> probe_;
  Asked lookup_;
};

class HostWayQuestions {
 public:
  HostWayQuestions(const Facts& local, const Publish& publish)
      : local_(local), publish_(publish), context_(local.kerberos.config.files) {}

  void run(const std::string& server);

 private:
  void step(const std::string& name) {
    way_.step = name;
    tell();
  }
  void tell() {
    publish_([this](Facts& facts) { facts.kerberos.hostWay = way_; });
  }
  void probeKdcs();
  void findController(const std::string& server);
  void logIn(const Kerberos& own);
  void exchange(const Kerberos& own);
  void nameController();
  void getTicket();

  const Facts& local_;
  const Publish& publish_;
  tolk::PlainKerberosContext context_;
  HostWay way_;
  std::optional<tolk::Krb5Principal> service_;
  std::optional<tolk::MemoryCCache> cache_;
};

void HostWayQuestions::run(const std::string& server) {
  probeKdcs();
  step("the controller's name");
  findController(server);
  if (!way_.controller.empty()) nameController();
  step("the computer account's login by the own way, which goes before");
  const Facts known =
      publish_.waitFor([](const Facts& facts) { return decided(facts.kerberos.login.asked); });
  step("a ticket for " + known.kerberos.account);
  logIn(known.kerberos);
  step("a ticket for ldap/" + way_.canonicalName);
  if (cache_ && service_) getTicket();
  step("");
}

void HostWayQuestions::probeKdcs() {
  step("the KDCs that krb5.conf names");
  tolk::EventLoop loop;
  std::vector<KdcProbe> probes;
  probes.reserve(local_.kerberos.config.kdcs.size());
  for (const std::string& line : local_.kerberos.config.kdcs) probes.emplace_back(loop, line);
  for (std::size_t i = 0; i < probes.size(); ++i) {
    way_.kdcs.push_back({.name = local_.kerberos.config.kdcs[i], .asked = probes[i].take()});
  }
}

void HostWayQuestions::findController(const std::string& server) {
  const Asked found = ask([&] {
    way_.controller = !server.empty() ? server
                                      : tolk::NetworkState::getDCForDomain(
                                            local_.join.domain, tolk::ServiceType::domainController,
                                            false, "", false);
  });
  if (way_.controller.empty()) {
    way_.lookup.reason = found.reason;
    return;
  }
  way_.lookup = ask([this] { way_.addresses = textsOf(lookUp(way_.controller)); });
}

/// As gss_import_name(3) does for the service "ldap" of that host (krb5_sname_to_principal).
void HostWayQuestions::nameController() {
  service_.emplace(context_.get());
  const Asked named = ask([this] {
    tolk::throwIfKrb5(context_.get(),
                      krb5_sname_to_principal(context_.get(), way_.controller.c_str(), "ldap",
                                              KRB5_NT_SRV_HST, service_->out()),
                      "naming the service of " + way_.controller);
  });
  if (!named.answered()) {
    service_.reset();
    way_.ticket = named;
    return;
  }
  const krb5_data& host = service_->get()->data[1];
  way_.canonicalName.assign(host.data, host.length);
}

void HostWayQuestions::logIn(const Kerberos& own) {
  Asked& asked = way_.login.asked;
  if (!own.login.asked.answered()) {
    asked.reason = own.login.asked.asked() ? "the login by the own way did not succeed"
                                           : own.login.asked.reason;
    return;
  }
  const bool nobody = std::ranges::none_of(
      way_.kdcs, [](const ConfiguredKdc& kdc) { return kdc.asked.answered(); });
  if (!way_.kdcs.empty() && nobody) {
    // The library would ask them for half a minute, by UDP as well, before it gives up.
    asked.reason = "no KDC that krb5.conf names accepts a connection";
    return;
  }
  asked = ask([&] { exchange(own); });
}

/// With the keys that were proved only: no other is ever shown twice.
void HostWayQuestions::exchange(const Kerberos& own) {
  const krb5_context context = context_.get();
  const std::string what = "logging in as " + own.account + " by krb5.conf";
  std::vector<krb5_enctype> good;
  for (const ProvedKey& key : own.keys) {
    if (key.asked.answered()) good.push_back(static_cast<krb5_enctype>(key.encryption));
  }
  tolk::Krb5Principal client(context);
  tolk::throwIfKrb5(context, krb5_parse_name(context, own.account.c_str(), client.out()), what);
  tolk::Krb5Keytab keytab(context);
  tolk::throwIfKrb5(context,
                    krb5_kt_resolve(context, ("FILE:" + local_.keytab.path).c_str(), keytab.out()),
                    what);
  tolk::Krb5InitOptions options(context);
  tolk::throwIfKrb5(context, krb5_get_init_creds_opt_alloc(context, options.out()), what);
  if (good.size() < own.keys.size()) {
    krb5_get_init_creds_opt_set_etype_list(options.get(), good.data(),
                                           static_cast<int>(good.size()));
  }
  tolk::InitialExchange exchange(context, client.get());
  tolk::throwIfKrb5(context, exchange.begin(options.get()), what);
  tolk::throwIfKrb5(context, exchange.useKeytab(keytab.get()), what);
  tolk::Krb5CredsContents credentials(context);
  const krb5_error_code code = exchange.run(credentials.get());
  way_.login.status = exchange.refusalStatus().value_or(0);
  tolk::throwIfKrb5(context, code, what);
  cache_.emplace(context, credentials.get()->client);
  tolk::throwIfKrb5(context, krb5_cc_store_cred(context, cache_->handle(), credentials.get()),
                    what);
}

void HostWayQuestions::getTicket() {
  way_.ticket = ask([this] {
    const krb5_context context = context_.get();
    tolk::Krb5Principal client(context);
    tolk::throwIfKrb5(context, krb5_cc_get_principal(context, cache_->handle(), client.out()),
                      "reading a cache");
    krb5_creds wanted{};
    wanted.client = client.get();
    wanted.server = service_->get();
    tolk::Krb5Creds ticket(context);
    tolk::throwIfKrb5(context,
                      krb5_get_credentials(context, 0, cache_->handle(), &wanted, ticket.out()),
                      "getting a ticket for ldap/" + way_.canonicalName);
  });
}

}  // namespace

void askHostWay(const Question& question, const Facts& local, const Publish& publish) {
  if (local.join.domain.empty() || !local.kerberos.config.read.answered()) return;
  HostWayQuestions(local, publish).run(question.server);
}

}  // namespace joinscope::facts
