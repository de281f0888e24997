// One list for everybody who reads the own object.
#include "tolk/zones/computer_object_helper.h"

#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ad_object.h"

namespace tolk {

const char** ComputerObjectHelper::getAttributes() noexcept {
  static const char* names[] = {AD_DN,
                                AD_CN,
                                AD_OBJECT_CLASS,
                                AD_OBJECT_SID,
                                AD_SAM_ACCOUNT_NAME,
                                AD_USER_ACCNT_CONTROL,
                                AD_PWCHG_LAST,
                                AD_DNS_HOST_NAME,
                                nullptr};
  return names;
}

bool ComputerObjectHelper::isDisabled(const ADObject& object) {
  return (object.getInt(AD_USER_ACCNT_CONTROL, 0) & UF_ACCOUNT_DISABLED) != 0;
}

}  // namespace tolk
