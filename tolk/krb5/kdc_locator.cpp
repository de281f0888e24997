// The library hands every request to a hook that does the whole exchange and hands back the
// reply; it opens no socket itself.
#include "tolk/krb5/kdc_locator.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "tolk/base/exceptions.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/profile_overlay.h"
#include "tolk/net/limits.h"
#include "tolk/net/network_state.h"

namespace {

/// A server that says it cannot serve now leaves the question to the next one.
bool settles(krb5_context context, std::span<const char> reply) {
  krb5_data data{};
  data.length = static_cast<unsigned>(reply.size());
  data.data = const_cast<char*>(reply.data());
  krb5_error* error = nullptr;
  if (krb5_rd_error(context, &data, &error) != 0) return true;  // no error, but an answer
  const bool unavailable = error->error == KRB5KDC_ERR_SVC_UNAVAILABLE - ERROR_TABLE_BASE_krb5;
  krb5_free_error(context, error);
  return !unavailable;
}

/// A krb5_data that the library frees; null without memory.
krb5_data* libraryData(const std::vector<char>& bytes) {
  auto* data = static_cast<krb5_data*>(std::calloc(1, sizeof(krb5_data)));
  if (data == nullptr) return nullptr;
  data->data = static_cast<char*>(std::malloc(bytes.size()));
  if (data->data == nullptr) {
    std::free(data);
    return nullptr;
  }
  std::memcpy(data->data, bytes.data(), bytes.size());
  data->length = static_cast<unsigned>(bytes.size());
  data->magic = KV5M_DATA;
  return data;
}

krb5_error_code unreachable(krb5_context context, const std::string& realm,
                            const std::string& reason) {
  krb5_set_error_message(context, KRB5_KDC_UNREACH, "Cannot contact any KDC for realm '%s' (%s)",
                         realm.c_str(), reason.c_str());
  return KRB5_KDC_UNREACH;
}

krb5_error_code exchange(krb5_context context, krb5_dc_locator_callback_type locator,
                         const std::string& realm, const krb5_data& message, krb5_data** reply) {
  const tolk::KdcAddresses addresses = locator(realm);
  if (addresses.empty()) {
    krb5_set_error_message(context, KRB5_REALM_UNKNOWN, "Cannot find KDC for realm \"%s\"",
                           realm.c_str());
    return KRB5_REALM_UNKNOWN;
  }
  const auto limit = tolk::configuredLimit(tolk::PN::KRB5_KDC_TIMEOUT);
  try {
    *reply = libraryData(
        tolk::exchangeWithKdcs(addresses, {message.data, message.length}, limit,
                               [context](auto bytes) { return settles(context, bytes); }));
    return *reply == nullptr ? ENOMEM : 0;
  } catch (const tolk::TimeoutException&) {
    return unreachable(context, realm,
                       "no answer within " + tolk::limitText(limit) + ", " +
                           tolk::limitSource(tolk::PN::KRB5_KDC_TIMEOUT));
  } catch (const tolk::IOException& failure) {
    return unreachable(context, realm, std::strerror(failure.code()));
  }
}

/// The library's hook (krb5_set_kdc_send_hook): it takes the reply from here and sends nothing
/// itself.
krb5_error_code askKdcs(krb5_context context, void* locator, const krb5_data* realm,
                        const krb5_data* message, krb5_data** /*newMessage*/,
                        krb5_data** reply) noexcept {
  try {
    return exchange(context, reinterpret_cast<krb5_dc_locator_callback_type>(locator),
                    std::string(realm->data, realm->length), *message, reply);
  } catch (const std::exception& failure) {
    krb5_set_error_message(context, KRB5_KDC_UNREACH, "%s", failure.what());
    return KRB5_KDC_UNREACH;
  } catch (...) {
    return KRB5_KDC_UNREACH;
  }
}

}  // namespace

tolk::KdcAddresses krb5_dc_locator_callback(const std::string& realm) {
  return tolk::NetworkState::getKdcs(realm);
}

krb5_error_code krb5_set_server_locator(krb5_context context,
                                        krb5_dc_locator_callback_type locator) {
  tolk::ProfileOverlay* overlay = tolk::KerberosContext::overlayOf(context);
  if (overlay == nullptr) return EINVAL;
  // The library calls the hook only once it knows some KDC of the realm. It repeats a refused
  // exchange with the primary one if it knows that too, which would count a wrong password twice.
  overlay->set("realms/*/kdc", "agent.invalid");
  overlay->hide("realms/*/primary_kdc");
  overlay->hide("realms/*/master_kdc");
  krb5_set_kdc_send_hook(context, &askKdcs, reinterpret_cast<void*>(locator));
  return 0;
}
