// The texts of the computer account's report and of the list of duplicate names.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/account/computer_account.h"
#include "cli/account/duplicate_spns.h"

namespace joinscope {
namespace {

TEST(AccountText, LabelStandsInFrontOfTheFirstItemOnly) {
  std::ostringstream out;
  printLabelledList(out, "  Names: ", {"a", "", "c"});
  EXPECT_EQ(out.str(), "  Names: a\n         \n         c\n");
  out.str("");
  printLabelledList(out, "  Names: ", {});
  EXPECT_EQ(out.str(), "");
}

TEST(AccountText, EncryptionTypesInTheOrderOfTheirBits) {
  const std::pair<std::optional<std::uint32_t>, const char*> cases[] = {
      {0x3f,
       "Supported Encryption Type(s): DES-CBC-CRC\n"
       "                              DES-CBC-MD5\n"
       "                              RC4-HMAC\n"
       "                              AES128-CTS-HMAC-SHA1-96\n"
       "                              AES256-CTS-HMAC-SHA1-96\n"},
      {0x20, ""},
      {std::nullopt, "Supported Encryption Type(s): N/A\n"},
  };
  for (const auto& [types, text] : cases) {
    std::ostringstream out;
    writeEncryptionTypes(out, types);
    EXPECT_EQ(out.str(), text);
  }
}

TEST(AccountText, SectionFromFacts) {
  const AccountFacts facts{.trustedForDelegation = true,
                           .desKeyOnly = false,
                           .keyVersion = {.value = 3, .missing = false, .problem = {}},
                           .principalNames = {"host/h.lab.test", "host/h\a"},
                           .encryptionTypes = 4,
                           .systemVersion = "12\n"};
  std::ostringstream out;
  std::ostringstream verbose;
  writeAccount(out, facts, verbose, [&out] {
    out << "  spoken before its line\n";
    return std::string("3");
  });
  EXPECT_EQ(out.str(), R"(  Trusted for Delegation: true
  Use DES Key Only: false
  spoken before its line
  Key Version: 3
  Service Principal Names: host/h.lab.test
                           host/h\x07

Supported Encryption Type(s): RC4-HMAC

Operating System Version: 12\x0A

)");
  EXPECT_EQ(verbose.str(), "  Retrieving servicePrincipalName from computer object\n");
}

std::string duplicates(const std::vector<Claimant>& claimants) {
  std::ostringstream out;
  writeDuplicateSpns(out, claimants);
  return out.str();
}

TEST(AccountText, DuplicateNamesListEnabledObjects) {
  const std::string heading = "Objects that contain same SPNs.The duplicate SPNs DN are:\n";
  const Claimant host{.dn = "CN=HOST1,DC=lab,DC=test"};
  EXPECT_EQ(duplicates({}), "");
  EXPECT_EQ(duplicates({host}), "");
  EXPECT_EQ(duplicates({host, {.dn = "CN=OLD1", .disabled = true}}),
            heading + "  CN=HOST1,DC=lab,DC=test\n");
  EXPECT_EQ(duplicates({host, {.dn = "CN=o\xe2\x80\x8b"}}),
            heading + "  CN=HOST1,DC=lab,DC=test\n  CN=o\\u{200B}\n");
}

}  // namespace
}  // namespace joinscope
