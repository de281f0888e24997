// What is made of a computer object's attributes.
#include "facts/computer_object.h"

#include <gtest/gtest.h>

#include "tolk/base/exceptions.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

tolk::ADObject account(const char* control) {
  tolk::ADObject object("CN=HOST1,DC=lab,DC=test");
  object[tolk::AD_DN] = object.dn();
  if (control != nullptr) object[tolk::AD_USER_ACCNT_CONTROL] = std::string(control);
  return object;
}

TEST(ComputerObject, FlagsOfTheAccount) {
  struct Row {
    const char* control;
    bool delegated, des, disabled;
  };
  for (const Row& row : {Row{nullptr, false, false, false}, Row{"4096", false, false, false},
                         Row{"524288", true, false, false}, Row{"2097154", false, true, true}}) {
    SCOPED_TRACE(row.control == nullptr ? "absent" : row.control);
    const AccountFacts facts = accountFacts(account(row.control));
    EXPECT_EQ(facts.trustedForDelegation, row.delegated);
    EXPECT_EQ(facts.desKeyOnly, row.des);
    EXPECT_EQ(claimantOf(account(row.control)).disabled, row.disabled);
  }
  EXPECT_FALSE(claimantOf(account("x")).disabled);
  tolk::ADObject types = account(nullptr);
  EXPECT_FALSE(accountFacts(types).encryptionTypes);
  types[tolk::AD_SUPPORTED_ENCTYPES] = std::string("-2147483644");
  EXPECT_EQ(accountFacts(types).encryptionTypes, 0x80000004);
  EXPECT_THROW(accountFacts(account("x")), tolk::SystemException);
}

}  // namespace
}  // namespace joinscope
