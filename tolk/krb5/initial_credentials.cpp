// By the library's stepwise interface, which keeps the KDC's error data: Active Directory tells
// there what about an account is refused.
#include "tolk/krb5/initial_credentials.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>

#include "tolk/base/stack_scrub.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk {
namespace {

struct StatusText {
  std::uint32_t status;  ///< MS-ERREF 2.3.1
  const char* text;
};

constexpr std::array kStatusTexts{
    StatusText{0xC000006F, "the account may not log on at this hour"},
    StatusText{0xC0000070, "the account may not log on from this computer"},
    StatusText{0xC0000071, "the password has expired: change it"},
    StatusText{0xC0000072, "the account is disabled: enable it in the directory"},
    StatusText{0xC0000193, "the account has expired: extend it in the directory"},
    StatusText{0xC0000224, "the password must be changed before the next logon"},
    StatusText{0xC0000234,
               "the account is locked after too many wrong passwords: unlock it in the "
               "directory"},
};

struct CodeText {
  long code;
  const char* text;
};

constexpr std::array kCodeTexts{
    CodeText{KRB5KDC_ERR_CLIENT_REVOKED, "the account is disabled, expired or locked"},
    CodeText{KRB5KDC_ERR_NAME_EXP, "the account has expired: extend it in the directory"},
    CodeText{KRB5KDC_ERR_KEY_EXP,
             "the password has expired or must be changed before the next "
             "logon"},
    CodeText{KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN,
             "the domain has no such account: deleted, renamed or never there"},
    CodeText{KRB5KDC_ERR_ETYPE_NOSUPP,
             "the account has no key of an encryption type that this host and the domain admit "
             "(permitted_enctypes in krb5.conf, msDS-SupportedEncryptionTypes of the account)"},
};

/// The NT status in the error data of a refusal. KERB-ERROR-DATA of type 3 (MS-KILE 2.2.2) and a
/// PA-DATA of type 3, which Samba sends, are the same bytes in DER; the 12 bytes within begin with
/// the status.
std::optional<std::uint32_t> statusIn(std::string_view errorData) {
  constexpr std::string_view kFront("\xA1\x03\x02\x01\x03\xA2\x0E\x04\x0C", 9);
  constexpr std::size_t kValueBytes = 12;
  const std::size_t front = errorData.find(kFront);
  if (front == std::string_view::npos) return std::nullopt;
  const std::string_view value = errorData.substr(front + kFront.size());
  if (value.size() < kValueBytes) return std::nullopt;
  std::uint32_t status = 0;
  for (std::size_t i = 4; i-- > 0;) status = status << 8 | static_cast<unsigned char>(value[i]);
  return status;
}

/// What the KDC's clock says is not signed, but good enough to tell people how far apart they are.
std::string skewText(std::int64_t kdcTime) {
  const std::int64_t ahead = std::time(nullptr) - kdcTime;
  return "Clock skew too great: this computer's clock is " + std::to_string(std::abs(ahead)) +
         (ahead < 0 ? " s behind" : " s ahead of") + " that of the KDC";
}

const char* textOf(krb5_error_code code, std::optional<std::uint32_t> status) {
  const auto byStatus = std::ranges::find_if(
      kStatusTexts, [status](const StatusText& row) { return row.status == status; });
  if (byStatus != kStatusTexts.end()) return byStatus->text;
  const auto byCode =
      std::ranges::find_if(kCodeTexts, [code](const CodeText& row) { return row.code == code; });
  return byCode == kCodeTexts.end() ? nullptr : byCode->text;
}

constexpr int kDaySeconds = 86400;

/// "krbtgt/REALM" when `realm` is not the principal's own. The own one must stay unnamed, or the
/// library could not follow a referral to the realm that really holds the user.
std::string foreignTicketService(krb5_principal principal, const char* realm) {
  if (realm == nullptr || *realm == '\0') return {};
  const std::string own(principal->realm.data, principal->realm.length);
  return own == realm ? std::string() : std::string(KRB5_TGS_NAME "/") + realm;
}

krb5_error_code requestCredentials(krb5_context context, krb5_principal principal,
                                   const Shredder& password, krb5_creds* out, const char* realm,
                                   int lifetime) {
  if (password.empty()) {
    krb5_set_error_message(context, KRB5_LIBOS_CANTREADPWD,
                           "no password: an empty one is not sent");
    return KRB5_LIBOS_CANTREADPWD;
  }
  Krb5InitOptions options(context);
  if (const krb5_error_code code = krb5_get_init_creds_opt_alloc(context, options.out()); code != 0)
    return code;
  krb5_get_init_creds_opt_set_tkt_life(options.get(), lifetime);
  krb5_get_init_creds_opt_set_canonicalize(options.get(), 1);
  krb5_get_init_creds_opt_set_forwardable(options.get(), 0);
  krb5_get_init_creds_opt_set_proxiable(options.get(), 0);
  InitialExchange exchange(context, principal);
  krb5_error_code code = exchange.begin(options.get());
  if (code == 0) code = exchange.usePassword(password);
  const std::string service = foreignTicketService(principal, realm);
  if (code == 0 && !service.empty()) code = exchange.askFor(service);
  return code == 0 ? exchange.run(out) : code;
}

}  // namespace

InitialExchange::InitialExchange(krb5_context context, krb5_principal client) noexcept
    : context_(context), client_(client), exchange_(context) {}

krb5_error_code InitialExchange::begin(krb5_get_init_creds_opt* options) {
  return krb5_init_creds_init(context_, client_, nullptr, nullptr, 0, options, exchange_.out());
}

krb5_error_code InitialExchange::usePassword(const Shredder& password) {
  return krb5_init_creds_set_password(context_, exchange_.get(), password.c_str());
}

krb5_error_code InitialExchange::useKeytab(krb5_keytab keytab) {
  return krb5_init_creds_set_keytab(context_, exchange_.get(), keytab);
}

krb5_error_code InitialExchange::askFor(const std::string& service) {
  return krb5_init_creds_set_service(context_, exchange_.get(), service.c_str());
}

krb5_error_code InitialExchange::run(krb5_creds* out) {
  krb5_error_code code = krb5_init_creds_get(context_, exchange_.get());
  if (code == 0) code = krb5_init_creds_get_creds(context_, exchange_.get(), out);
  if (code != 0) explain(code);
  return code;
}

void InitialExchange::explain(krb5_error_code code) {
  Krb5Owned<krb5_error*, krb5_free_error> reply(context_);
  if (krb5_init_creds_get_error(context_, exchange_.get(), reply.out()) != 0) return;
  const krb5_error* const error = reply.get();
  if (error != nullptr && code == KRB5KRB_AP_ERR_SKEW) {
    kdcTime_ = static_cast<std::uint32_t>(error->stime);
    krb5_set_error_message(context_, code, "%s", skewText(*kdcTime_).c_str());
    return;
  }
  if (error != nullptr) status_ = statusIn({error->e_data.data, error->e_data.length});
  const char* const text = textOf(code, status_);
  if (text != nullptr) krb5_set_error_message(context_, code, "%s", text);
}

// NOLINTNEXTLINE(readability-function-size): the parameters are those of a fixed interface
krb5_error_code getCredentials(krb5_context context, krb5_principal principal,
                               const Shredder& password, krb5_creds* out, std::string& error,
                               char* /*unused*/, int* /*unused*/, const char* realm, int lifetime,
                               krb5_keyblock* replyKey) {
  krb5_error_code code = requestCredentials(context, principal, password, out, realm, lifetime);
  scrubStack();
  if (code == 0 && replyKey != nullptr)
    code = krb5_copy_keyblock_contents(context, &out->keyblock, replyKey);
  if (code != 0) error = krb5Message(context, code);
  return code;
}

krb5_error_code gic_with_password_callback(krb5_context context, krb5_creds* out,
                                           krb5_principal principal, void* data) {
  if (data == nullptr) return EINVAL;
  std::string error;
  return getCredentials(context, principal, *static_cast<const Shredder*>(data), out, error,
                        nullptr, nullptr, nullptr, kDaySeconds, nullptr);
}

int gic_shredder_callback_data_copy_function(const void* from, void** to) {
  if (from == nullptr || to == nullptr) return EINVAL;
  *to = new Shredder(*static_cast<const Shredder*>(from));
  return 0;
}

void gic_shredder_callback_data_free_function(void* data) {
  delete static_cast<Shredder*>(data);
}

}  // namespace tolk
