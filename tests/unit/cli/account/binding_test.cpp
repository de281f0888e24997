// Bindings that end before any server is asked: refusals, failures on the way, and what they leave
// in the context.
#include "cli/account/binding.h"

#include <gtest/gtest.h>

#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/scoped_variable.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

constexpr char kNotJoined[] =
    "Machine is not yet joined.\nProvide a valid username and password to bind to Active Directory";

class BindingTest : public testing::Test {
 protected:
  BindingTest() {
    tolk::Props().set(tolk::PN::KRB5_CONFFILE_NAME, config);
    record.user = "alice";
    record.passwordGiven = true;
    record.password = tolk::Shredder("secret");
  }

  /// A run on a host without a join.
  std::unique_ptr<TaskContext> unjoined(UserCredentials* credentials, const char* domain) {
    auto context = std::make_unique<TaskContext>(credentials, domain, nullptr);
    context->joined = false;
    return context;
  }

  ScratchDirectory directory;
  std::string config = directory.path("krb5.conf");
  tolk::ScopedVariable variable{"KRB5_CONFIG", config};
  UserCredentials record;
};

TEST_F(BindingTest, AnEmptyDomainIsNoFailure) {
  const auto context = unjoined(&record, "");
  EXPECT_FALSE(getBinding(*context, nullptr, nullptr));
  EXPECT_EQ(context->errorMessage, "");
  EXPECT_EQ(context->errorCode, 0);
  EXPECT_FALSE(context->bindFailed);
  EXPECT_FALSE(record.password.empty());
}

TEST_F(BindingTest, ARefusalIsRemembered) {
  const auto context = unjoined(nullptr, "lab.test");
  EXPECT_FALSE(getBinding(*context, "dc1.lab.test", nullptr));
  EXPECT_EQ(context->errorMessage, kNotJoined);
  EXPECT_EQ(context->errorCode, 19);
  EXPECT_FALSE(getBinding(*context, "dc1.lab.test", nullptr));
}

TEST_F(BindingTest, AnotherKerberosFailureIsTriedAgain) {
  directory.write("krb5.conf", "include /nowhere/at/all\n");
  const auto context = unjoined(nullptr, "lab.test");
  EXPECT_FALSE(getBinding(*context, nullptr, nullptr));
  EXPECT_EQ(context->errorMessage.rfind("Kerberos error: rc=-1429577697 init context: ", 0), 0U)
      << context->errorMessage;
  EXPECT_EQ(context->errorCode, 6);
  EXPECT_FALSE(context->bindFailed);

  directory.write("krb5.conf", "");
  EXPECT_FALSE(getBinding(*context, nullptr, nullptr));
  EXPECT_EQ(context->errorMessage, kNotJoined);
}

TEST_F(BindingTest, WithoutADomainBindingThereIsNoCatalogAndOneMessage) {
  const auto context = unjoined(nullptr, "lab.test");
  testing::internal::CaptureStdout();
  EXPECT_FALSE(getGCBinding(*context));
  EXPECT_FALSE(getGCBinding(*context));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(kNotJoined) + "\n");
  EXPECT_TRUE(context->gcBindFailed);
}

}  // namespace
}  // namespace joinscope
