// Reads against a real directory server, and against servers that fall silent, break off or talk
// nonsense.
#include <gtest/gtest.h>
#include <ldap.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/tolk/ldap/slapd.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ldap_binding.h"
#include "tolk/ldap/pipelined_reads.h"
#include "tolk/ldap/root_dse_reads.h"

namespace tolk {
namespace {

using test::Listener;
using test::Slapd;

constexpr char kPeople[] = "ou=People,dc=lab,dc=test";
constexpr const char* kSn[] = {"sn", nullptr};

std::string personDn(int number) {
  return std::string(number < 10 ? "cn=u0" : "cn=u") + std::to_string(number) + "," + kPeople;
}

/// What `call` throws as LDAPException: its code and text.
template <typename Call>
std::pair<int, std::string> failureOf(Call call) {
  try {
    call();
  } catch (const LDAPException& failure) {
    return {failure.code(), failure.what()};
  }
  return {0, "no LDAPException"};
}

class LdapReads : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (Slapd::available()) server_ = std::make_unique<Slapd>();
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    if (server_ == nullptr) GTEST_SKIP() << "slapd is not installed";
    for (const Property* limit :
         {&PN::LDAP_BIND_TIMEOUT, &PN::LDAP_SEARCH_TIMEOUT, &PN::LDAP_CONNECT_TIMEOUT}) {
      Props().set(limit->key, "10");
    }
  }
  void TearDown() override {
    if (server_ != nullptr) server_->thaw();
  }

  static void connect(LDAPBinding& binding) { binding.connectToServer(server_->address()); }

  static inline std::unique_ptr<Slapd> server_;
};

TEST_F(LdapReads, FetchTellsAnObjectFromNone) {
  LDAPBinding binding;
  connect(binding);
  EXPECT_EQ(binding.fetch(personDn(7), kSn, AD_ALL_OBJECTS, true)["sn"].toString(), "u07");
  EXPECT_EQ(binding.fetch("", nullptr, AD_ALL_OBJECTS, false).dn(), "");
  EXPECT_FALSE(binding.fetch("cn=gone,dc=lab,dc=test", nullptr, AD_ALL_OBJECTS, false));
  EXPECT_FALSE(binding.fetch(personDn(7), nullptr, "(sn=other)", false));
  EXPECT_THROW(
      static_cast<void>(binding.fetch("cn=gone,dc=lab,dc=test", nullptr, AD_ALL_OBJECTS, true)),
      NotFoundException);
}

TEST_F(LdapReads, ValuesArriveByteForByte) {
  LDAPBinding binding;
  connect(binding);
  const ADObject odd = binding.fetch("cn=odd,dc=lab,dc=test", nullptr, AD_ALL_OBJECTS, true);
  EXPECT_EQ(odd.getStrings("USERPASSWORD"),
            (std::vector<std::string>{std::string("a\0b\n", 4), ""}));
  EXPECT_EQ(odd["jpegPhoto"].toString().size(), Slapd::kHugeBytes);
  EXPECT_EQ(odd[AD_DN].toString(), "cn=odd,dc=lab,dc=test");
}

TEST_F(LdapReads, SearchLimitsAndAttributeLists) {
  LDAPBinding binding;
  connect(binding);
  const auto names = [&](const char* const* attributes, int size, int flags) {
    return *binding.search("(sn=u*)", kPeople, attributes, SearchScope::oneLevel, 0, size, flags);
  };
  EXPECT_EQ(names(kSn, 0, 0).size(), std::size_t{Slapd::kPeople});
  EXPECT_EQ(names(kSn, 3, 0).size(), 3u);
  constexpr const char* kNamesOnly[] = {AD_DN_ONLY, nullptr};
  const ADObject bare = names(kNamesOnly, 0, 0).front();
  EXPECT_TRUE(bare.empty());
  EXPECT_EQ(bare.dn(), personDn(0));
  const ADObject typed = names(kSn, 0, SearchFlags::typesOnly).front();
  EXPECT_TRUE(typed.attributeExists("sn", false));
  EXPECT_FALSE(typed.attributeExists("sn", true));
}

TEST_F(LdapReads, FailuresNameServerAndReason) {
  LDAPBinding binding;
  EXPECT_EQ(failureOf([&] {
              static_cast<void>(binding.fetch("", nullptr, AD_ALL_OBJECTS, false));
            }).second,
            "Not connected to a directory server");
  connect(binding);
  const std::string at = " (" + server_->address() + ")";
  const auto search = [&](const std::string& filter, const std::string& base) {
    return failureOf([&] { static_cast<void>(binding.search(filter, base, nullptr, 2, 0, 0, 0)); });
  };
  EXPECT_EQ(search("(sn=x", kPeople), std::pair(LDAP_FILTER_ERROR, "Bad search filter" + at));
  EXPECT_EQ(search(AD_ALL_OBJECTS, "no name"),
            std::pair(LDAP_INVALID_DN_SYNTAX, "Invalid DN syntax" + at + ": invalid DN"));
  EXPECT_EQ(search(AD_ALL_OBJECTS, std::string("dc=lab\0,dc=test", 15)).first, LDAP_PARAM_ERROR);
  // the text of an earlier answer does not stick to a later failure of another kind
  EXPECT_EQ(search("(", kPeople).second, "Bad search filter" + at);
}

TEST_F(LdapReads, PagesHoldEveryObjectOnceInTheServersOrder) {
  LDAPBinding binding;
  connect(binding);
  const ADObjectList whole =
      *binding.search("(sn=*)", kPeople, kSn, SearchScope::oneLevel, 0, 0, 0);
  for (const int pageSize : {1, 7, 25, 60, 1000}) {
    SCOPED_TRACE(pageSize);
    std::vector<std::string> names;
    std::size_t pages = 1;
    PagedObjectList list =
        binding.searchPaged(pageSize, "(sn=*)", kPeople, kSn, SearchScope::oneLevel, 0, 0);
    while (true) {
      EXPECT_LE(list.objects().size(), static_cast<std::size_t>(pageSize));
      for (const ADObject& object : list.objects()) names.push_back(object.dn());
      // another read between two pages does not disturb the paging
      EXPECT_TRUE(binding.fetch(personDn(1), kSn, AD_ALL_OBJECTS, false));
      if (list.complete()) break;
      list.nextPage();
      ++pages;
    }
    EXPECT_GE(pages, (Slapd::kPeople + static_cast<std::size_t>(pageSize) - 1) /
                         static_cast<std::size_t>(pageSize));
    ASSERT_EQ(names.size(), whole.size());
    EXPECT_TRUE(std::equal(
        names.begin(), names.end(), whole.begin(),
        [](const std::string& name, const ADObject& object) { return name == object.dn(); }));
    list.nextPage();
    EXPECT_TRUE(list.objects().empty());
  }
}

TEST_F(LdapReads, PipelinedResultsComeInTheOrderOfTheRequests) {
  LDAPBinding binding;
  connect(binding);
  PipelinedReads reads(binding);
  constexpr std::size_t kReads = 500;
  for (std::size_t i = 0; i < kReads; ++i) {
    const int person = static_cast<int>(i * 7 % Slapd::kPeople);
    EXPECT_EQ(reads.add(AD_ALL_OBJECTS, personDn(person), kSn, SearchScope::base), i);
  }
  // Large answers before small ones, and a search that is no part of the pipeline in between.
  reads.add(AD_ALL_OBJECTS, "cn=odd,dc=lab,dc=test", nullptr, SearchScope::base);
  for (std::size_t i = 0; i < kReads; ++i) {
    if (i == 40) {
      EXPECT_TRUE(binding.fetch("", nullptr, AD_ALL_OBJECTS, false));
    }
    const ADObjectList found = reads.next();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found.front().dn(), personDn(static_cast<int>(i * 7 % Slapd::kPeople)));
  }
  EXPECT_EQ(reads.next().front()["jpegPhoto"].toString().size(), Slapd::kHugeBytes);
  EXPECT_EQ(reads.pending(), 0u);
}

TEST_F(LdapReads, APipelinedFailureIsThrownAtItsTurnOnly) {
  LDAPBinding binding;
  connect(binding);
  PipelinedReads reads(binding);
  reads.add(AD_ALL_OBJECTS, personDn(1), kSn, SearchScope::base);
  reads.add("(broken", personDn(2), kSn, SearchScope::base);     // cannot be sent
  reads.add(AD_ALL_OBJECTS, "no name", kSn, SearchScope::base);  // refused by the server
  reads.add(AD_ALL_OBJECTS, "cn=gone,dc=lab,dc=test", kSn, SearchScope::base);
  reads.add(AD_ALL_OBJECTS, kPeople, kSn, SearchScope::oneLevel);
  EXPECT_EQ(reads.next().front().dn(), personDn(1));
  EXPECT_EQ(failureOf([&] { static_cast<void>(reads.next()); }).first, LDAP_FILTER_ERROR);
  EXPECT_EQ(failureOf([&] { static_cast<void>(reads.next()); }).first, LDAP_INVALID_DN_SYNTAX);
  EXPECT_TRUE(reads.next().empty());
  EXPECT_EQ(reads.next().size(), std::size_t{Slapd::kPeople});
}

TEST_F(LdapReads, DroppedPipelinesLeaveTheBindingUsable) {
  LDAPBinding binding;
  connect(binding);
  {
    PipelinedReads reads(binding);
    for (int i = 0; i < 100; ++i) reads.add("(sn=*)", kPeople, nullptr, SearchScope::oneLevel);
    EXPECT_FALSE(reads.next().empty());
  }
  EXPECT_EQ(binding.fetch(personDn(3), kSn, AD_ALL_OBJECTS, true).dn(), personDn(3));
}

TEST_F(LdapReads, AFrozenServerEndsEachReadByItsLimit) {
  LDAPBinding used;
  connect(used);
  EXPECT_TRUE(used.fetch("", nullptr, AD_ALL_OBJECTS, false));
  LDAPBinding fresh;
  connect(fresh);
  Props().set(PN::LDAP_SEARCH_TIMEOUT, "0.2");
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.1");
  server_->freeze();
  const auto failure = [](LDAPBinding& binding) {
    return failureOf([&] { static_cast<void>(binding.fetch("", nullptr, AD_ALL_OBJECTS, false)); });
  };
  const std::string start = "Timed out (" + server_->address() + "): no answer within ";
  EXPECT_EQ(failure(used), std::pair(LDAP_TIMEOUT, start + "0.2 s (ldap.search.timeout)"));
  EXPECT_EQ(failure(fresh), std::pair(LDAP_TIMEOUT, start + "0.1 s (ldap.bind.timeout)"));
  server_->thaw();
  Props().set(PN::LDAP_SEARCH_TIMEOUT, "10");
  EXPECT_TRUE(used.fetch(personDn(1), kSn, AD_ALL_OBJECTS, true));
}

TEST(PipelinedReads, AMuteServerCostsOneLimit) {
  const Listener mute;
  LDAPBinding binding;
  binding.connectToServer(mute.address());
  PipelinedReads reads(binding);
  for (int i = 0; i < 100; ++i) reads.add(AD_ALL_OBJECTS, "", kSn, SearchScope::base);
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.2");
  EXPECT_EQ(failureOf([&] { static_cast<void>(reads.next()); }).first, LDAP_TIMEOUT);
  // Each of these would wait for this if the pipeline forgot that the server is silent.
  Props().set(PN::LDAP_BIND_TIMEOUT, "3600");
  while (reads.pending() > 0) {
    EXPECT_EQ(failureOf([&] { static_cast<void>(reads.next()); }).first, LDAP_TIMEOUT);
  }
}

TEST_F(LdapReads, ALostConnectionFailsWhatIsUnderWayAndIsOpenedAgain) {
  auto other = std::make_unique<Slapd>();
  LDAPBinding binding;
  binding.connectToServer(other->address());
  PipelinedReads reads(binding);
  for (int i = 0; i < 100; ++i) reads.add(AD_ALL_OBJECTS, personDn(1), kSn, SearchScope::base);
  static_cast<void>(reads.next());
  other->kill();
  int failures = 0;
  while (reads.pending() > 0) {
    failures +=
        failureOf([&] { static_cast<void>(reads.next()); }).first == LDAP_SERVER_DOWN ? 1 : 0;
  }
  EXPECT_GE(failures, 68);  // none of those that had not been sent
  EXPECT_EQ(
      failureOf([&] { static_cast<void>(binding.fetch("", nullptr, AD_ALL_OBJECTS, false)); }),
      std::pair(LDAP_SERVER_DOWN, "Can't contact LDAP server (" + other->address() +
                                      "): " + other->address() + ": Connection refused"));
}

TEST_F(LdapReads, RootDsesOfSeveralServersComeByName) {
  const Listener mute;
  std::string refused;
  {
    const Listener gone;
    refused = gone.address();
  }
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.3");
  EventLoop loop;
  RootDseReads reads(loop, {mute.address(), refused, "not:a:port", server_->address()});
  EXPECT_TRUE(reads.take(server_->address()).attributeExists("objectClass", true));
  EXPECT_EQ(failureOf([&] { static_cast<void>(reads.take(refused)); }),
            std::pair(LDAP_SERVER_DOWN, "Can't contact LDAP server (" + refused + "): " + refused +
                                            ": Connection refused"));
  EXPECT_EQ(failureOf([&] { static_cast<void>(reads.take(mute.address())); }).second,
            "Timed out (" + mute.address() + "): no answer within 0.3 s (ldap.bind.timeout)");
  EXPECT_EQ(failureOf([&] { static_cast<void>(reads.take("not:a:port")); }).first,
            LDAP_PARAM_ERROR);
  EXPECT_TRUE(reads.take(server_->address()));  // taken before: read anew
}

/// Bytes that a server sends back instead of an answer.
struct Nonsense {
  const char* description;
  std::string bytes;
  int code;
};

class LdapNonsense : public testing::TestWithParam<Nonsense> {};

TEST_P(LdapNonsense, EndsTheReadWithinItsLimit) {
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.3");
  const Listener listener;
  LDAPBinding binding;
  binding.connectToServer(listener.address());
  const UniqueFd peer = listener.accept();
  const std::string& bytes = GetParam().bytes;
  ASSERT_EQ(::write(peer.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  EXPECT_EQ(failureOf([&] {
              static_cast<void>(binding.fetch("", nullptr, AD_ALL_OBJECTS, false));
            }).first,
            GetParam().code);
}

using namespace std::string_literals;

INSTANTIATE_TEST_SUITE_P(
    Answers, LdapNonsense,
    testing::Values(
        Nonsense{"half a message", "\x30\x50\x02\x01\x01"s, LDAP_TIMEOUT},
        Nonsense{"answer to another request",
                 "\x30\x0c\x02\x01\x63\x65\x07\x0a\x01\x00\x04\x00\x04\x00"s, LDAP_TIMEOUT},
        Nonsense{"text", "HTTP/1.1 400 Bad Request\r\n\r\n"s + std::string(100, ' '),
                 LDAP_SERVER_DOWN},
        Nonsense{"two gigabytes announced", "\x30\x84\x7f\xff\xff\xff\x02\x01\x01"s,
                 LDAP_SERVER_DOWN},
        Nonsense{"damaged entry",
                 "\x30\x10\x02\x01\x01\x64\x0b\x04\x00\x30\x07\x30\x05\x04\x01\x61\x31\x05"s,
                 LDAP_DECODING_ERROR}));

}  // namespace
}  // namespace tolk
