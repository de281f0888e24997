// Bindings that end before any server is asked: refusals, failures on the way, and what they leave
// in the context.
#include "cli/account/binding.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "fake_network_state.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/scoped_variable.h"
#include "tolk/ldap/ad_binding.h"

namespace joinscope {
namespace {

using test::discovery;

constexpr char kNotJoined[] =
    "Machine is not yet joined.\nProvide a valid username and password to bind to Active Directory";
constexpr char kNotRoot[] =
    "Provide a valid username and password or run joinscope as root to bind using machine "
    "credentials";

class BindingTest : public testing::Test {
 protected:
  BindingTest() {
    tolk::Props().set(tolk::PN::KRB5_CONFFILE_NAME, config);
    discovery() = {};
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

  /// A run on a joined host, for its own domain.
  std::unique_ptr<TaskContext> joined(UserCredentials* credentials) {
    auto context = std::make_unique<TaskContext>(credentials, nullptr, nullptr);
    context->joined = true;
    context->domain = context->joinedDomain = "lab.test";
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
  EXPECT_TRUE(discovery().asked.empty()) << "a refusal that is certain waits for nobody";
}

/// What a joined host's run without credentials is told, when it is not root's.
std::string refusalOf(TaskContext& context) {
  if (::getuid() == 0 && ::setuid(65534) != 0) return "still root";
  return getBinding(context, nullptr, nullptr) ? "bound" : context.errorMessage;
}

TEST_F(BindingTest, OnlyRootMayUseTheComputerAccount) {
  discovery().controller = "dc1.lab.test";
  std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
  const auto context = joined(nullptr);
  EXPECT_EXIT(::_exit(refusalOf(*context) == kNotRoot ? context->errorCode : 1),
              testing::ExitedWithCode(19), "");
  const auto other = unjoined(nullptr, "lab.test");  // root could do no more
  EXPECT_EXIT(::_exit(refusalOf(*other) == kNotJoined ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST_F(BindingTest, AFailedDiscoveryIsAFailureLikeAnyOther) {
  const auto context = joined(&record);
  EXPECT_FALSE(getBinding(*context, nullptr, nullptr));
  EXPECT_EQ(context->errorMessage, "Active Directory: no controller answers");
  EXPECT_EQ(context->errorCode, 6);
  EXPECT_TRUE(context->bindFailed);
  EXPECT_TRUE(record.password.empty());
}

TEST_F(BindingTest, AMalformedConfigurationThatStaysInPlaceEndsTheRun) {
  directory.write("krb5.conf", "[libdefaults]\n no equals sign here\n");
  directory.write("krb5.conf.bad/in the way", "");
  const auto context = unjoined(&record, "lab.test");
  EXPECT_FALSE(getBinding(*context, nullptr, nullptr));
  EXPECT_EQ(context->errorMessage, "Kerberos format error reading " + config +
                                       "\nRename or remove this file and try again");
  EXPECT_EQ(context->errorCode, 157);
  EXPECT_TRUE(context->bindFailed);
  EXPECT_TRUE(record.password.empty());
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
