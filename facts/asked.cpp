// The exceptions of the agent library, sorted by who is to blame.
#include "facts/asked.h"

#include <cerrno>
#include <chrono>

#include "tolk/base/exceptions.h"
#include "tolk/krb5/krb5_library.h"

namespace joinscope::facts {
namespace {

constexpr int kLdapTimeout = -5;  // LDAP_TIMEOUT of ldap(3); the codes below 0 are the client's own

/// A KDC's own errors are the first 128 of the table (RFC 4120, 7.5.9).
Outcome ofKerberos(std::int64_t code) {
  if (code == KRB5_KDC_UNREACH) return Outcome::silent;
  constexpr std::int64_t kPeerErrors = 128;
  const std::int64_t number = code - ERROR_TABLE_BASE_krb5;
  return number >= 0 && number < kPeerErrors ? Outcome::refused : Outcome::failed;
}

Outcome ofLdap(int code) {
  if (code == kLdapTimeout) return Outcome::silent;
  return code > 0 ? Outcome::refused : Outcome::failed;
}

Asked ended(Outcome outcome, const tolk::Base_Exception& failure) {
  return {.outcome = outcome, .reason = failure.what(), .code = failure.code()};
}

Asked askUntimed(const std::function<void()>& question) {
  try {
    question();
    return {.outcome = Outcome::answered};
  } catch (const tolk::TimeoutException& e) {
    return ended(Outcome::silent, e);
  } catch (const tolk::DNSUnavailableException& e) {
    return ended(Outcome::silent, e);
  } catch (const tolk::KerberosException& e) {
    return ended(ofKerberos(e.code()), e);
  } catch (const tolk::LDAPException& e) {
    return ended(ofLdap(e.code()), e);
  } catch (const tolk::BaseException& e) {
    return ended(Outcome::refused, e);
  } catch (const tolk::IOException& e) {
    return ended(e.code() == ECONNREFUSED ? Outcome::refused : Outcome::failed, e);
  } catch (const tolk::Base_Exception& e) {
    return ended(Outcome::failed, e);
  }
}

}  // namespace

Asked ask(const std::function<void()>& question) {
  const auto started = std::chrono::steady_clock::now();
  Asked asked = askUntimed(question);
  asked.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  return asked;
}

}  // namespace joinscope::facts
