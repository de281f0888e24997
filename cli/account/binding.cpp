// A bind takes one of three paths, by the credentials that the run has; each ends in
// ADBinding::connect(). What fails becomes one message and one status, here for the Kerberos
// context, in binding_failure for the paths.
#include "cli/account/binding.h"

#include <unistd.h>

#include <ostream>

#include "cli/account/binding_failure.h"
#include "cli/account/credential_prompt.h"
#include "cli/common/error_text.h"
#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/subnet_site.h"
#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "facts/controllers.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/krb5/credential_cache.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"
#include "tolk/krb5/machine_account.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

using Binding = boost::shared_ptr<tolk::ADBinding>;

constexpr int kMachineLifetimeSeconds = 86400;

/// One attempt: the context, and what has been found out for it.
struct Attempt {
  TaskContext& context;
  std::ostream& verbose;
  std::string server;  ///< the one the user named; empty: the binding finds those that serve
};

CredentialPath choosePath(const TaskContext& context) {
  if (context.credentials != nullptr)
    return context.credentials->ccacheName.empty() ? CredentialPath::userPassword
                                                   : CredentialPath::userCache;
  if (!context.joined) return CredentialPath::notJoined;
  return ::getuid() == 0 ? CredentialPath::machine : CredentialPath::notRoot;
}

/// Whom to ask for the site; a name that the user did not give is no more than the first choice of
/// the binding.
std::string chooseServer(const TaskContext& context, const std::string& named) {
  if (!named.empty() || context.domainGiven) return named;
  try {
    return controllerOf(context.joinedDomain);
  } catch (const tolk::TOLKException& failure) {
    throw tolk::NotFoundException(failure.what());
  }
}

// Only the user may name a server by an alias; a name that a server has told could be anybody's.
Binding withAlias(Binding binding, const Attempt& attempt) {
  const std::string& named = attempt.context.serverName;
  if (!named.empty() && attempt.server == named) binding->allowAlias();
  return binding;
}

Binding cacheBinding(const Attempt& attempt, const std::string& cacheName) {
  TaskContext& context = attempt.context;
  Binding binding(new tolk::ADBinding(context.domain, cacheName, context.kerberosContext.get(),
                                      false, attempt.server, context.site, false, false));
  return withAlias(std::move(binding), attempt);
}

void connectAndForget(tolk::ADBinding& binding) {
  binding.connect();
  binding.setInitialCredentialsCallback(nullptr, tolk::EMPTY_CBDATA, nullptr, nullptr);
}

Binding bindWithUserCache(const Attempt& attempt) {
  const UserCredentials& record = *attempt.context.credentials;
  Binding binding = cacheBinding(attempt, record.ccacheName);
  const tolk::CallbackData copy(new UserCredentials(record),
                                joinscope_gic_indentifier_callback_data_free_function);
  binding->setInitialCredentialsCallback(joinscope_gic_with_password_prompt_callback, copy,
                                         joinscope_gic_indentifier_callback_data_copy_function,
                                         joinscope_gic_indentifier_callback_data_free_function);
  connectAndForget(*binding);
  return binding;
}

Binding bindWithPassword(const Attempt& attempt) {
  TaskContext& context = attempt.context;
  UserCredentials& record = *context.credentials;
  Binding binding(new tolk::ADBinding(context.domain, record.user, record.password,
                                      context.kerberosContext.get(), context.site, false,
                                      attempt.server, false));
  binding = withAlias(std::move(binding), attempt);
  binding->setInitialCredentialsCallback(
      tolk::gic_with_password_callback,
      tolk::CallbackData(new tolk::Shredder(record.password),
                         tolk::gic_shredder_callback_data_free_function),
      tolk::gic_shredder_callback_data_copy_function,
      tolk::gic_shredder_callback_data_free_function);
  connectAndForget(*binding);
  record.password.wipe();
  return binding;
}

void tellPrincipal(std::ostream& out, krb5_context kerberos, krb5_principal principal) {
  try {
    const std::string name = tolk::principalText(kerberos, principal);
    out << prefix(2) << "Using principal name '" << tolk::printable(name) << "'\n";
  } catch (const tolk::KerberosException&) {
    out << prefix(2) << "Principal name cannot be decoded!\n";
  }
}

Binding bindAsMachine(const Attempt& attempt) {
  TaskContext& context = attempt.context;
  attempt.verbose << prefix(1) << "Using machine credentials\n";
  ensureKerberosContext(context);
  const krb5_context kerberos = context.kerberosContext->get();
  tolk::Krb5Principal principal(kerberos);
  tolk::ADHelper::getMachinePrincipal(kerberos, principal.out());
  tellPrincipal(attempt.verbose, kerberos, principal.get());

  tolk::KerberosCCache& cache = *context.memCache;
  const std::string cacheName = tolk::UniqueMemCacheName(&cache);
  tolk::throwIfKrb5(kerberos, krb5_cc_resolve(kerberos, cacheName.c_str(), &cache.handle),
                    "resolving credential cache");
  tolk::ADHelper::getMachineCredCache(kerberos, cacheName, principal.get(), cache,
                                      kMachineLifetimeSeconds);
  attempt.verbose << prefix(1) << "Binding to " << context.domain << ", cache=" << cacheName
                  << '\n';
  Binding binding = cacheBinding(attempt, cacheName);
  binding->connect();
  return binding;
}

void fail(TaskContext& context, BindingFailure failure) {
  context.errorMessage = std::move(failure.message);
  context.errorCode = failure.status;
  context.bindFailed = true;
  if (context.credentials != nullptr) context.credentials->password.wipe();
}

Binding refuse(TaskContext& context, const char* message) {
  noteBindFailure(context.domain, message);
  fail(context, {message, exit_status::kInvalidCredentials});
  return {};
}

Binding bindOn(CredentialPath path, const Attempt& attempt) {
  switch (path) {
    case CredentialPath::userCache:
      return bindWithUserCache(attempt);
    case CredentialPath::userPassword:
      return bindWithPassword(attempt);
    case CredentialPath::machine:
      return bindAsMachine(attempt);
    case CredentialPath::notRoot:
      return refuse(attempt.context,
                    "Provide a valid username and password or run joinscope as root to bind using "
                    "machine credentials");
    case CredentialPath::notJoined:
      return refuse(attempt.context,
                    "Machine is not yet joined.\n"
                    "Provide a valid username and password to bind to Active Directory");
  }
  return {};
}

/// A fresh memory cache record; one left by an attempt before this one goes with its tickets.
void renewMemCache(TaskContext& context) {
  if (context.memCache) context.memCache->destroyOnRelease = true;
  context.memCache = std::make_unique<tolk::KerberosCCache>(context.kerberosContext->get());
}

void bind(TaskContext& context, const char* server, std::ostream* verbose) {
  ensureKerberosContext(context);
  const krb5_context kerberos = context.kerberosContext->get();
  const std::string realm = tolk::toUpper(context.domain);
  tolk::throwIfKrb5(kerberos, krb5_set_default_realm(kerberos, realm.c_str()),
                    "setting default realm " + realm);
  renewMemCache(context);
  context.binding = createBinding(context, server, verbose);
  context.memCache->closeOnRelease = true;
}

void noteFailure(TaskContext& context, const tolk::KerberosException& failure) {
  if (failure.code() == static_cast<int>(KRB5_CONFIG_BADFORMAT)) {
    context.bindFailed = true;
    context.errorMessage = "Kerberos format error reading " + tolk::krb5ConfPath() +
                           "\nRename or remove this file and try again";
    context.errorCode = exit_status::kMalformedKrb5Conf;
    if (context.credentials != nullptr) context.credentials->password.wipe();
    return;
  }
  context.errorMessage =
      "Kerberos error: rc=" + std::to_string(failure.code()) + " " + failure.what();
  context.errorCode = exit_status::kMiscError;
}

}  // namespace

boost::shared_ptr<tolk::ADBinding> getBinding(TaskContext& context, const char* server,
                                              std::ostream* verbose) {
  if (context.binding || context.bindFailed || context.domain.empty()) return context.binding;
  try {
    bind(context, server, verbose);
  } catch (const tolk::KerberosException& failure) {
    noteBindFailure(context.domain, failure.what());
    noteFailure(context, failure);
  } catch (const std::exception& failure) {
    noteBindFailure(context.domain, failure.what());
    context.errorMessage = std::string("Unexpected Exception: ") + failure.what();
    context.errorCode = exit_status::kMiscError;
  }
  tolk::scrubStack();
  return context.binding;
}

boost::shared_ptr<tolk::ADBinding> getGCBinding(TaskContext& context) {
  if (context.gcBinding || context.gcBindFailed) return context.gcBinding;
  const boost::shared_ptr<tolk::ADBinding> domainBinding = getBinding(context, nullptr, nullptr);
  context.gcBindFailed = true;
  if (!domainBinding) {
    showBindFailure(context);
    return {};
  }
  try {
    boost::shared_ptr<tolk::ADBinding> catalog(new tolk::ADBinding(*domainBinding, true));
    catalog->connect();
    context.gcBinding = catalog;
    context.gcBindFailed = false;
  } catch (const std::exception& failure) {
    noteBindFailure("a global catalog", failure.what());
  }
  return context.gcBinding;
}

void ensureKerberosContext(TaskContext& context) {
  if (!context.kerberosContext) context.kerberosContext = std::make_unique<tolk::KerberosContext>();
}

void takeConfigurationContext(TaskContext& context, tolk::ADBinding& binding) {
  try {
    const std::string found = binding.configurationContext();
    if (!found.empty()) context.configNamingContext = found;
  } catch (const std::exception& e) {
    tolk::noteTrouble("cli.joinscope",
                      std::string("Cannot read the root DSE: ") + tolk::printable(e.what()));
  }
}

boost::shared_ptr<tolk::ADBinding> createBinding(TaskContext& context, const char* server,
                                                 std::ostream* verbose) {
  if (context.domain.empty()) return {};
  const CredentialPath path = choosePath(context);
  try {
    const krb5_context kerberos = context.kerberosContext->get();
    tolk::throwIfKrb5(kerberos, krb5_set_server_locator(kerberos, krb5_dc_locator_callback),
                      "installing the KDC locator");
    const Attempt attempt{context, sinkOf(verbose), server == nullptr ? "" : server};
    // Without credentials the refusal is certain: nobody has to be asked.
    if (path != CredentialPath::notRoot && path != CredentialPath::notJoined) {
      context.site = lookupSubnetSite(context.domain, context.site,
                                      chooseServer(context, attempt.server), verbose);
    }
    return bindOn(path, attempt);
  } catch (const std::exception& failure) {
    noteBindFailure(context.domain, failure.what());
    fail(context, describeFailure(failure, path, context.credentials));
    return {};
  }
}

}  // namespace joinscope
