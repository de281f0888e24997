// The web proxy of the configuration.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "cloud/http/http_proxy.h"
#include "cloud/http/proxy_auth.h"
#include "tests/unit/cloud/log_texts.h"
#include "tests/unit/tolk/net/sandbox.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/protected_credential.h"

namespace tolk::test {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class HttpProxyTest : public Sandbox {
 protected:
  ~HttpProxyTest() override {
    for (const Property* property : {&PN::CLOUD_PROXY_SERVER, &PN::CLOUD_PROXY_AUTH_REQUIRED,
                                     &PN::CLOUD_PROXY_AUTH_TYPE, &PN::CLOUD_DIRECT_CONNECTION}) {
      Props().set(*property, std::string(property->value));
    }
    UpdateCloudHttpProxy();
  }
  static HttpProxy update(const std::string& server) {
    Props().set(PN::CLOUD_PROXY_SERVER, server);
    UpdateCloudHttpProxy();
    return getProxySettings();
  }
};

TEST_F(HttpProxyTest, ServerHasAPort) {
  struct Row {
    const char* value;
    const char* server;
  };
  for (const Row& row :
       {Row{"", ""}, Row{"proxy.test", "proxy.test:8080"}, Row{"proxy.test:", "proxy.test:8080"},
        Row{":3128", ""}, Row{"10.0.0.1:3128", "10.0.0.1:3128"}, Row{"a:1:2", "a:1:2"}}) {
    const HttpProxy proxy = update(row.value);
    EXPECT_EQ(proxy.server, row.server);
    EXPECT_EQ(proxy.authType, "");
    EXPECT_TRUE(proxy.usable);
  }
}

TEST_F(HttpProxyTest, AuthenticationIsCheckedWhereItIsRequired) {
  Props().set(PN::CLOUD_PROXY_AUTH_REQUIRED, "yes");
  LogTexts log;
  EXPECT_EQ(update("10.0.0.1:3128").authType, "anyauth");
  Props().set(PN::CLOUD_PROXY_AUTH_TYPE, " ");
  EXPECT_EQ(update("proxy.test").authType, "anyauth") << "and not no login at all";
  Props().set(PN::CLOUD_PROXY_AUTH_TYPE, "AnyAuth");
  EXPECT_EQ(update("10.0.0.1:3128").authType, "anyauth");
  EXPECT_THAT(log.take("cloud.orb.processor"),
              Contains(HasSubstr("FQDN hostname should be specified")));
  Props().set(PN::CLOUD_PROXY_AUTH_TYPE, "Bearer");
  EXPECT_EQ(update("proxy.test").authType, "bearer");
  const std::vector<std::string> texts = log.take("cloud.orb.processor");
  EXPECT_THAT(texts, Contains("Invalid proxy auth type: 'bearer'"));
  EXPECT_THAT(texts, Not(Contains(HasSubstr("FQDN"))));
  // Without a server nothing is asked for.
  EXPECT_EQ(update("").authType, "");
  EXPECT_TRUE(getProxySettings().usable);
}

TEST_F(HttpProxyTest, CredentialAndFipsModeDecideWhetherItCanBeUsed) {
  Props().set(PN::CLOUD_PROXY_AUTH_REQUIRED, "yes");
  Props().set(PN::CLOUD_PROXY_AUTH_TYPE, "NTLM");
  write("/var/orvald/other", "");
  EXPECT_FALSE(update("proxy.test").usable) << "there is no credential";
  EXPECT_EQ(getCloudProxy().server, "");
  ProtectedCredential credential(kProxyCredentialName);
  credential.saveToFile(kMachineUser, "unused");
  EXPECT_EQ(update("proxy.test").authType, "negotiate");
  EXPECT_TRUE(getProxySettings().password.view().empty());
  credential.saveToFile("LAB\\ann", "secret");
  EXPECT_TRUE(update("proxy.test").usable);
  EXPECT_EQ(getCloudProxy().password.view(), "secret");
  ASSERT_EQ(::mount("tmpfs", "/proc/sys", "tmpfs", 0, nullptr), 0);
  write("/proc/sys/crypto/fips_enabled", "1\n");
  for (const char* type : {"NTLM", "Digest"}) {
    Props().set(PN::CLOUD_PROXY_AUTH_TYPE, type);
    EXPECT_FALSE(update("proxy.test").usable) << type << " is not approved";
  }
  Props().set(PN::CLOUD_PROXY_AUTH_TYPE, "Basic");
  EXPECT_TRUE(update("proxy.test").usable);
  EXPECT_EQ(::umount("/proc/sys"), 0);
  EXPECT_TRUE(credential.removeFile());
}

TEST_F(HttpProxyTest, DirectConnectionHasNoProxy) {
  (void)update("proxy.test");
  EXPECT_EQ(getCloudProxy().server, "proxy.test:8080");
  Props().set(PN::CLOUD_DIRECT_CONNECTION, "true");
  EXPECT_EQ(getCloudProxy().server, "");
}

TEST(ProxyAuth, OnlyTheFiveWords) {
  EXPECT_EQ(proxyAuthMask("negotiate"), 4);
  EXPECT_EQ(proxyAuthMask("anyauth"), -17);
  EXPECT_EQ(proxyAuthMask("Basic"), std::nullopt);
  EXPECT_EQ(proxyAuthMask(""), std::nullopt);
}

TEST(ProtectedCredential, KeepsWhatItIsGivenFromOthers) {
  const ScratchDirectory directory;
  ProtectedCredential credential = ProtectedCredential::at(directory.path("x.cred"));
  EXPECT_FALSE(credential.loadFromFile(false));
  EXPECT_THROW((void)credential.loadFromFile(true), IOException);
  const std::string secret = "p\"\\\xc3\xbc\n%";
  credential.saveToFile("LAB\\user", secret);
  struct stat status {};
  ASSERT_EQ(::stat(credential.path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  if (status.st_uid != 0) GTEST_SKIP() << "only root's files are read";
  ProtectedCredential again = ProtectedCredential::at(credential.path());
  ASSERT_TRUE(again.loadFromFile(true));
  EXPECT_EQ(again.user(), "LAB\\user");
  EXPECT_EQ(again.getSecret().view(), secret);
  ASSERT_EQ(::chmod(credential.path().c_str(), 0640), 0);
  EXPECT_THROW((void)again.loadFromFile(true), IOException);
  for (const char* text : {"", "{}", R"({"user":"a","secret":1})", R"({"user":"a")", "[["}) {
    directory.write("x.cred", text);
    ASSERT_EQ(::chmod(credential.path().c_str(), 0600), 0);
    try {
      (void)again.loadFromFile(true);
      FAIL() << text;
    } catch (const BadDataException& e) {
      EXPECT_TRUE(std::string_view(e.what()).ends_with(". ")) << e.what();
    }
  }
  EXPECT_TRUE(again.removeFile());
  EXPECT_FALSE(again.removeFile());
}

}  // namespace
}  // namespace tolk::test
