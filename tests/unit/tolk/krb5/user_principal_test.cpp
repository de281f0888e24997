#include "tolk/krb5/user_principal.h"

#include <gtest/gtest.h>

#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"

namespace tolk {
namespace {

TEST(UserPrincipal, EveryWayToWriteAUserNamesTheRightRealm) {
  struct Row {
    const char* user;
    const char* principal;
    int type;
  };
  constexpr Row kRows[] = {
      {"alice", "alice@LAB.TEST", KRB5_NT_PRINCIPAL},
      {"\\alice", "alice@LAB.TEST", KRB5_NT_PRINCIPAL},
      {"child.lab.test\\alice", "alice@CHILD.LAB.TEST", KRB5_NT_PRINCIPAL},
      {"alice@Lab.Test", "alice@LAB.TEST", KRB5_NT_PRINCIPAL},
      {"bob@CHILD.LAB.TEST", "bob@CHILD.LAB.TEST", KRB5_NT_PRINCIPAL},
      {"bob@corp.example", "bob\\@corp.example@LAB.TEST", KRB5_NT_ENTERPRISE_PRINCIPAL},
      {"lab.test\\b\\c", "b\\\\c@LAB.TEST", KRB5_NT_PRINCIPAL},
      {"a@b@lab.test", "a\\@b@LAB.TEST", KRB5_NT_PRINCIPAL},
      {"J\xc3\xb6rg", "J\xc3\xb6rg@LAB.TEST", KRB5_NT_PRINCIPAL},
  };
  const KerberosContext kerberos;
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.user);
    const Krb5Principal principal = userPrincipal(kerberos.get(), row.user, "lab.test");
    EXPECT_EQ(principalText(kerberos.get(), principal.get()), row.principal);
    EXPECT_EQ(principal.get()->type, row.type);
  }
}

TEST(UserPrincipal, RealmNameIsWhatFollowsTheLastPlainAt) {
  EXPECT_EQ(ADUser::getRealmName("alice@LAB.TEST", nullptr), "LAB.TEST");
  EXPECT_EQ(ADUser::getRealmName("bob\\@corp.example@LAB.TEST", nullptr), "LAB.TEST");
  EXPECT_EQ(ADUser::getRealmName("bob\\@corp.example", "HOME"), "HOME");
  EXPECT_EQ(ADUser::getRealmName("odd\\\\@LAB.TEST", nullptr), "LAB.TEST");
  EXPECT_EQ(ADUser::getRealmName("nobody", nullptr), "");
}

}  // namespace
}  // namespace tolk
