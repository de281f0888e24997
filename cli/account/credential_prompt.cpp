// C functions for the Kerberos library's side of a bind: no exception leaves them but Kerberos
// ones.
#include "cli/account/credential_prompt.h"

#include <cerrno>
#include <string>

#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/terminal.h"
#include "tolk/base/text.h"
#include "tolk/krb5/initial_credentials.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/user_principal.h"

namespace joinscope {
namespace {

constexpr int kYearSeconds = 31536000;

tolk::Logger& logger() {
  return tolk::Logger::GetThreadPrivateLogger("cli.joinscope");
}

std::string nameOf(krb5_context context, krb5_principal principal) {
  char* text = nullptr;
  if (const krb5_error_code code = krb5_unparse_name(context, principal, &text); code != 0)
    throw tolk::KerberosException(
        "unparse name for get init cred callback:" + tolk::krb5Message(context, code), code);
  std::string name = text;
  krb5_free_unparsed_name(context, text);
  return name;
}

void providePassword(UserCredentials& record, const std::string& name) {
  if (record.passwordGiven) return;
  if (!record.interactive) {
    logger().log(tolk::LogLevel::warning,
                 tolk::formatText("RODC revoked TGT, there's no password available and password "
                                  "prompt is not allowed to re-request TGT for user %s.",
                                  {name}));
    return;
  }
  const std::string prompt = "Active Directory password for " + tolk::printable(name) + ": ";
  record.password = tolk::promptPassword(prompt.c_str());
  record.passwordGiven = true;
}

}  // namespace

krb5_error_code joinscope_gic_with_password_prompt_callback(krb5_context context, krb5_creds* out,
                                                            krb5_principal principal, void* data) {
  const std::string name = nameOf(context, principal);
  const std::string realm = tolk::ADUser::getRealmName(name, nullptr);
  auto& record = *static_cast<UserCredentials*>(data);
  try {
    providePassword(record, name);
    std::string error;
    return tolk::getCredentials(context, principal, record.password, out, error, nullptr, nullptr,
                                realm.c_str(), kYearSeconds, nullptr);
  } catch (const tolk::TOLKException& failure) {
    logger().log(tolk::LogLevel::debug,
                 tolk::formatText("Failed to get init cred in password prompt callback, rc=%d",
                                  {std::to_string(failure.code())}));
    return failure.code();
  }
}

int joinscope_gic_indentifier_callback_data_copy_function(const void* from, void** to) {
  if (from == nullptr || to == nullptr) return EINVAL;
  try {
    *to = new UserCredentials(*static_cast<const UserCredentials*>(from));
    return 0;
  } catch (const tolk::TOLKException& failure) {
    logger().log(
        tolk::LogLevel::error,
        tolk::formatText("Failed to copy gic indentifier callback data: %s", {failure.what()}));
    return failure.code();
  }
}

void joinscope_gic_indentifier_callback_data_free_function(void* data) {
  auto* record = static_cast<UserCredentials*>(data);
  if (record == nullptr) return;
  try {
    record->ccacheName.clear();
    record->password.wipe();
    delete record;
  } catch (const tolk::TOLKException& failure) {
    logger().log(
        tolk::LogLevel::error,
        tolk::formatText("Failed to free gic indentifier callback data: %s", {failure.what()}));
  }
}

}  // namespace joinscope
