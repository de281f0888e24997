// The library makes SASL's steps, asked for one at a time, so that all answers together have one
// limit; its local errors are Kerberos' when their text says so.
#include "tolk/ldap/gssapi_bind.h"

#include <gssapi/gssapi_krb5.h>
#include <sasl/sasl.h>

#include <array>
#include <chrono>
#include <utility>

#include "tolk/base/text.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/ldap/ldap_error.h"

namespace tolk {
namespace {

using Clock = std::chrono::steady_clock;

// Failures that only the exchange with the server itself can show; GSS-API tells them as text.
constexpr std::array<krb5_error_code, 8> kCodesInTexts{
    KRB5KRB_AP_ERR_SKEW,
    KRB5KRB_AP_ERR_TKT_EXPIRED,
    KRB5KRB_AP_ERR_TKT_NYV,
    KRB5KDC_ERR_TGT_REVOKED,
    KRB5KDC_ERR_PREAUTH_FAILED,
    KRB5KDC_ERR_ETYPE_NOSUPP,
    KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN,
    KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN,
};

class GssCredential {
 public:
  GssCredential() = default;
  GssCredential(const GssCredential&) = delete;
  GssCredential& operator=(const GssCredential&) = delete;
  ~GssCredential() {
    OM_uint32 minor = 0;
    gss_release_cred(&minor, &value_);
  }
  [[nodiscard]] gss_cred_id_t get() const noexcept { return value_; }
  gss_cred_id_t* out() noexcept { return &value_; }

 private:
  gss_cred_id_t value_ = GSS_C_NO_CREDENTIAL;
};

struct Interaction {
  gss_cred_id_t credential;
  bool credentialSet = false;
};

// The SASL session takes a credential only while it asks its questions, and would fall back to the
// process's default cache without one. Nothing else is answered: no authorization identity.
int interact(LDAP* ld, unsigned /*flags*/, void* defaults, void* questions) noexcept {
  auto& interaction = *static_cast<Interaction*>(defaults);
  if (ldap_set_option(ld, LDAP_OPT_X_SASL_GSS_CREDS, interaction.credential) != LDAP_OPT_SUCCESS) {
    return LDAP_LOCAL_ERROR;
  }
  interaction.credentialSet = true;
  for (auto* question = static_cast<sasl_interact_t*>(questions); question->id != SASL_CB_LIST_END;
       ++question) {
    question->result = "";
    question->len = 0;
  }
  return LDAP_SUCCESS;
}

WaitLimit rest(Clock::time_point started, const WaitLimit& whole) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(started + whole.time - Clock::now());
  return {std::max(left, std::chrono::milliseconds::zero()), whole.source};
}

// The steps of the mechanism, all answers awaited under one limit; returns the library's result.
int exchange(LdapConnection& connection, Interaction& interaction) {
  const Clock::time_point started = Clock::now();
  const char* mechanism = nullptr;
  LdapMessage answer;
  while (true) {
    int id = -1;
    const int rc = ldap_sasl_interactive_bind(connection.handle(), nullptr, "GSSAPI", nullptr,
                                              nullptr, LDAP_SASL_QUIET, interact, &interaction,
                                              answer.get(), &mechanism, &id);
    if (rc != LDAP_SASL_BIND_IN_PROGRESS) return rc;
    answer = connection.nextMessage(id, rest(started, connection.bindLimit()));
  }
}

// A local failure (-2) is GSS-API's, with the Kerberos message in parentheses at its end.
void throwIfKerberosText(const std::string& text) {
  for (const krb5_error_code code : kCodesInTexts) {
    if (text.find("(" + krb5Message(nullptr, code)) != std::string::npos) {
      throw KerberosException(text, static_cast<int>(code));
    }
  }
}

// The library takes the server's word that the bind is done, also before the server has proved
// itself: without a layer that nobody else has the key of, anybody may have answered.
void throwUnlessSealed(LdapConnection& connection) {
  constexpr ber_len_t kIntegrityOnly = 1;  // security strength factor, RFC 4422, 3.7
  ber_len_t strength = 0;
  ldap_get_option(connection.handle(), LDAP_OPT_X_SASL_SSF, &strength);
  if (strength > kIntegrityOnly) return;
  throw LDAPException(ldapMessage(LDAP_PROTOCOL_ERROR, connection.serverName(),
                                  "it ended the bind without sealing the connection"),
                      LDAP_PROTOCOL_ERROR);
}

}  // namespace

void bindGssapi(LdapConnection& connection, const BindingTickets& tickets, const std::string& host,
                const std::string& realm) {
  const GssConfigOverlay overlay(realm, host);
  GssCredential credential;
  OM_uint32 minor = 0;
  if (gss_krb5_import_cred(&minor, tickets.cache(), nullptr, nullptr, credential.out()) !=
      GSS_S_COMPLETE) {
    const auto code = static_cast<krb5_error_code>(minor);
    throw KerberosException("using the tickets: " + krb5Message(nullptr, code), code);
  }
  Interaction interaction{.credential = credential.get()};
  const int rc = exchange(connection, interaction);
  if (rc != LDAP_SUCCESS) throwIfKerberosText(ldapDiagnostic(connection.handle()));
  connection.throwIfFailed(rc);
  if (!interaction.credentialSet) {
    throw LDAPException(ldapMessage(LDAP_LOCAL_ERROR, connection.serverName(),
                                    "the mechanism did not ask for a credential"),
                        LDAP_LOCAL_ERROR);
  }
  throwUnlessSealed(connection);
}

}  // namespace tolk
