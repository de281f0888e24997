// Which account of a keytab is adopted.
#include "velkd/adopt.h"

#include <gtest/gtest.h>

namespace velkd {
namespace {

tolk::KeytabAccount account(const std::string& name, const std::string& realm, std::time_t newest) {
  return {.name = name, .realm = realm, .newest = newest, .principal = name + "$@" + realm};
}

std::string chosen(const std::vector<tolk::KeytabAccount>& accounts, const std::string& domain) {
  try {
    return chooseAccount(accounts, domain, "web1.lab.test", "/k").principal;
  } catch (const AdoptRefusal& e) {
    return e.what();
  }
}

TEST(AdoptAccount, IsTheOneOfThisHostOrTheNewest) {
  EXPECT_EQ(chosen({account("OLD", "LAB.TEST", 1), account("NEW", "LAB.TEST", 2)}, ""),
            "NEW$@LAB.TEST");
  EXPECT_EQ(chosen({account("WEB1", "LAB.TEST", 1), account("NEW", "LAB.TEST", 2)}, ""),
            "WEB1$@LAB.TEST");
  EXPECT_EQ(chosen({account("web1", "B.TEST", 1), account("A", "LAB.TEST", 2)}, "Lab.Test"),
            "A$@LAB.TEST");
}

TEST(AdoptAccount, RefusalNamesReasonAndRemedy) {
  EXPECT_EQ(chosen({}, ""),
            "/k has no computer account (NAME$@REALM). Join this computer to a domain first.");
  EXPECT_EQ(chosen({account("A", "X.TEST", 1), account("A", "B.TEST", 1)}, ""),
            "/k has computer accounts of several domains (B.TEST, X.TEST). Choose one with "
            "--domain.");
  EXPECT_EQ(chosen({account("A", "X.TEST", 1)}, "b.test"),
            "/k has no computer account of b.test, only of X.TEST.");
}

}  // namespace
}  // namespace velkd
