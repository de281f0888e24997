#include "cli/account/binding.h"

#include <iostream>

#include "cli/account/binding_failure.h"
#include "cli/common/exit_status.h"
#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/stack_scrub.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

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
    context.errorMessage = "Kerberos format error reading " + tolk::kerberosConfigPath() +
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
    std::cout << context.errorMessage << '\n';
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

}  // namespace joinscope
