// The computer account's login, then the sealed bind with its ticket, then what the directory says.
#include "facts/subjects/directory.h"

#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

#include "facts/directory_reads.h"
#include "facts/gathering.h"
#include "facts/machine_login.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/unsigned_bind.h"

namespace joinscope::facts {
namespace {

/// Why the computer account does not log in at all; "" when it does.
std::string whyNot(const Facts& local) {
  if (local.run.joining) return "this host is to be joined";
  if (local.join.domain.empty()) return "no domain is named";
  if (local.keytab.keys.empty() && !local.host.root) return "needs root";
  if (local.keytab.keys.empty()) return "no key of the keytab could be read";
  if (local.kerberos.account.empty()) return "the keytab has no key of a computer account here";
  return {};
}

/// Others wait for both answers: whatever happens, there are some.
class Decision {
 public:
  explicit Decision(const Publish& publish) : publish_(publish) {}
  Decision(const Decision&) = delete;
  Decision& operator=(const Decision&) = delete;
  ~Decision() {
    publish_([this](Facts& facts) {
      for (Asked* asked : {&facts.kerberos.login.asked, &facts.directory.bind}) {
        if (!asked->asked() && asked->reason.empty()) asked->reason = reason;
      }
    });
  }

  std::string reason = "the computer account did not log in";

 private:
  const Publish& publish_;
};

/// A line of ldap.conf(5) that forbids the LDAP library's users to sign, and where it stands.
struct SigningForbidden {
  std::string file;
  std::string properties;
};

std::optional<SigningForbidden> signingForbidden() {
  for (const char* path : {"/etc/ldap/ldap.conf", "/etc/openldap/ldap.conf"}) {
    std::ifstream lines(path);
    for (std::string line; std::getline(lines, line);) {
      std::istringstream words(line);
      std::string name;
      std::string value;
      const bool named = words >> name >> value && tolk::equalsIgnoringCase(name, "SASL_SECPROPS");
      if (named && value.find("maxssf=0") != std::string::npos) return {{path, value}};
    }
  }
  return std::nullopt;
}

void tryPlainBind(tolk::KerberosContext& kerberos, const tolk::ADBinding& bound,
                  const Publish& publish) {
  const std::optional<SigningForbidden> line = signingForbidden();
  if (!line) return;
  const Asked plain = ask([&] { tolk::bindUnsigned(kerberos, bound); });
  publish([&](Facts& facts) {
    facts.directory.saslProperties = line->properties;
    facts.directory.saslFile = line->file;
    facts.directory.plainBind = plain;
  });
}

void logIn(MachineLogin& login, const Facts& local, const Publish& publish) {
  Kerberos found = local.kerberos;
  login.run(local.keytab.path, found);
  publish([&found](Facts& facts) {
    facts.kerberos.keys = found.keys;
    facts.kerberos.attempts = found.attempts;
    facts.kerberos.login = found.login;
    facts.kerberos.inTime = found.inTime;
  });
}

}  // namespace

void askDirectory(const Question& question, const Facts& local, const Publish& publish) {
  Decision decision(publish);
  if (std::string reason = whyNot(local); !reason.empty()) {
    decision.reason = std::move(reason);
    return;
  }
  tolk::KerberosContext kerberos;
  useOwnWay(kerberos, question.server);
  MachineLogin login(kerberos);
  logIn(login, local, publish);
  if (login.cacheName().empty()) return;
  bindAndRead(kerberos, {login.cacheName(), local.kerberos.account}, {question, local, publish});
}

bool decided(const Asked& asked) {
  return asked.asked() || !asked.reason.empty();
}

void bindAndRead(tolk::KerberosContext& kerberos, const BindAs& as, const Asking& asking) {
  const Question& question = asking.question;
  tolk::ADBinding binding(asking.local.join.domain, as.cacheName, &kerberos, false, question.server,
                          "", false, false);
  if (!question.server.empty()) binding.allowAlias();
  const Asked bind = ask([&binding] { binding.connect(); });
  asking.publish([&](Facts& facts) {
    facts.directory.bind = bind;
    facts.directory.boundAs = as.name;
    facts.directory.server = binding.serverName();
  });
  if (!bind.answered()) return;
  readDirectory(binding, question, asking.local, asking.publish);
  tryPlainBind(kerberos, binding, asking.publish);
}

}  // namespace joinscope::facts
