// Reads against a real directory server, and against servers that fall silent, break off or talk
// nonsense.
#include <gtest/gtest.h>
#include <ldap.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/unit/tolk/ldap/slapd.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/canonical_spn.h"
#include "tolk/ldap/ldap_binding.h"
#include "tolk/ldap/ldap_connection.h"
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

using Failure = std::pair<int, std::string>;

/// What `call` throws as LDAPException: its code and text.
template <typename Call>
Failure failureOf(Call call) {
  try {
    static_cast<void>(call());
  } catch (const LDAPException& failure) {
    return {failure.code(), failure.what()};
  }
  return {0, "no LDAPException"};
}

Failure rootDseFailure(LDAPBinding& binding) {
  return failureOf([&] { return binding.fetch("", nullptr, AD_ALL_OBJECTS, false); });
}

class LdapReads : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (Slapd::available()) server_ = std::make_unique<Slapd>();
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    if (server_ == nullptr) GTEST_SKIP() << "slapd is not installed";
    Props().set(PN::LDAP_BIND_TIMEOUT, "10");
    Props().set(PN::LDAP_SEARCH_TIMEOUT, "10");
    binding.connectToServer(server_->address());
  }

  static inline std::unique_ptr<Slapd> server_;
  LDAPBinding binding;
};

TEST_F(LdapReads, FetchTellsAnObjectFromNoneAndKeepsEachByte) {
  const auto fetch = [&](const std::string& dn, const char* filter, bool mustExist) {
    return binding.fetch(dn, nullptr, filter, mustExist);
  };
  EXPECT_EQ(fetch(personDn(7), AD_ALL_OBJECTS, true)["sn"].toString(), "u07");
  EXPECT_FALSE(fetch("cn=gone,dc=lab,dc=test", AD_ALL_OBJECTS, false));
  EXPECT_FALSE(fetch(personDn(7), "(sn=other)", false));
  EXPECT_THROW(fetch("cn=gone,dc=lab,dc=test", AD_ALL_OBJECTS, true), NotFoundException);
  const ADObject odd = fetch("cn=odd,dc=lab,dc=test", AD_ALL_OBJECTS, true);
  EXPECT_EQ(odd.getStrings("USERPASSWORD"),
            (std::vector<std::string>{std::string("a\0b\n", 4), ""}));
  EXPECT_EQ(odd["jpegPhoto"].toString().size(), Slapd::kHugeBytes);
}

TEST_F(LdapReads, ABindSignsAtLeast) {
  ber_len_t strength = 0;
  const auto connection = LdapConnection::open(parseServer(server_->address()));
  ldap_get_option(connection->handle(), LDAP_OPT_X_SASL_SSF_MIN, &strength);
  EXPECT_EQ(strength, 1u);
}

TEST_F(LdapReads, SearchesEndAtTheirSizeAndNamesComeAlone) {
  constexpr const char* kNamesOnly[] = {AD_DN_ONLY, nullptr};
  const auto people = [&](const char* const* attributes, int flags) {
    return *binding.search("(sn=u*)", kPeople, attributes, SearchScope::oneLevel, 0, 3, flags);
  };
  EXPECT_EQ(people(kSn, 0).size(), 3u);
  EXPECT_TRUE(people(kNamesOnly, 0).front().empty());
  EXPECT_FALSE(people(kSn, SearchFlags::typesOnly).front().attributeExists("sn", true));
}

TEST_F(LdapReads, AServiceHasTheNameOfItsOwnAccountBeforeItsComputers) {
  const auto name = [&](const std::string& spn) {
    return CanonicalSpn(spn, "lab.test", binding,
                        [](const std::string&, LDAPBinding*&, FreeDomainBind& release) {
                          release = [](LDAPBinding*) {};
                        });
  };
  EXPECT_EQ(name("HTTP/localhost"), "HTTP/localhost@SERVICES.LAB.TEST");
  EXPECT_EQ(name("cifs/localhost"), "cifs/localhost@LAB.TEST");
  EXPECT_EQ(name("HTTP/127.0.0.9"), "");
}

TEST_F(LdapReads, FailuresNameServerAndReason) {
  LDAPBinding unconnected;
  EXPECT_EQ(rootDseFailure(unconnected).second, "Not connected to a directory server");
  const std::string at = " (" + server_->address() + ")";
  const auto search = [&](const std::string& filter, const std::string& base) {
    return failureOf([&] { return binding.search(filter, base, nullptr, 2, 0, 0, 0); });
  };
  EXPECT_EQ(search(AD_ALL_OBJECTS, "no name"),
            Failure(LDAP_INVALID_DN_SYNTAX, "Invalid DN syntax" + at + ": invalid DN"));
  EXPECT_EQ(search(AD_ALL_OBJECTS, std::string("dc=lab\0,dc=test", 15)).first, LDAP_PARAM_ERROR);
  EXPECT_EQ(search(AD_ALL_OBJECTS, "ou=gone,dc=lab,dc=test").first, 0);
  EXPECT_EQ(takeTroubles(), std::vector<std::string>{server_->address() +
                                                     " has no object 'ou=gone,dc=lab,dc=test': a "
                                                     "search below it finds nothing"});
  // the text of an earlier answer does not stick to a later failure of another kind
  EXPECT_EQ(search("(sn=x", kPeople), Failure(LDAP_FILTER_ERROR, "Bad search filter" + at));
}

TEST_F(LdapReads, PagesHoldEveryObjectOnceInTheServersOrder) {
  std::vector<std::string> expected;
  for (int i = 0; i < Slapd::kPeople; ++i) expected.push_back(personDn(i));
  for (const int pageSize : {1, 7, 60, 1000}) {
    SCOPED_TRACE(pageSize);
    std::vector<std::string> names;
    PagedObjectList list =
        binding.searchPaged(pageSize, "(sn=*)", kPeople, kSn, SearchScope::oneLevel, 0, 0);
    for (;;) {
      EXPECT_LE(list.objects().size(), static_cast<std::size_t>(pageSize));
      for (const ADObject& object : list.objects()) names.push_back(object.dn());
      // another read between two pages does not disturb the paging
      EXPECT_TRUE(binding.fetch(personDn(1), kSn, AD_ALL_OBJECTS, false));
      if (list.complete()) break;
      list.nextPage();
    }
    EXPECT_EQ(names, expected);
    list.nextPage();
    EXPECT_TRUE(list.objects().empty());
  }
}

TEST_F(LdapReads, PipelinedResultsComeInTheOrderOfTheRequests) {
  constexpr int kReads = 500;
  PipelinedReads reads(binding);
  for (int i = 0; i < kReads; ++i) {
    reads.add(AD_ALL_OBJECTS, personDn(i * 7 % Slapd::kPeople), kSn, SearchScope::base);
  }
  reads.add(AD_ALL_OBJECTS, "cn=odd,dc=lab,dc=test", nullptr, SearchScope::base);
  for (int i = 0; i < kReads; ++i) {
    if (i == 40) {  // a search that is no part of the pipeline
      EXPECT_TRUE(binding.fetch("", nullptr, AD_ALL_OBJECTS, false));
    }
    ASSERT_EQ(reads.next().front().dn(), personDn(i * 7 % Slapd::kPeople));
  }
  EXPECT_EQ(reads.next().front()["jpegPhoto"].toString().size(), Slapd::kHugeBytes);
  EXPECT_EQ(reads.pending(), 0u);
}

TEST_F(LdapReads, APipelinedFailureIsThrownAtItsTurnAndADroppedPipelineLeavesNoAnswers) {
  {
    PipelinedReads reads(binding);
    reads.add(AD_ALL_OBJECTS, personDn(1), kSn, SearchScope::base);
    reads.add("(broken", personDn(2), kSn, SearchScope::base);     // cannot be sent
    reads.add(AD_ALL_OBJECTS, "no name", kSn, SearchScope::base);  // refused by the server
    reads.add(AD_ALL_OBJECTS, "cn=gone,dc=lab,dc=test", kSn, SearchScope::base);
    for (int i = 0; i < 100; ++i) reads.add("(sn=*)", kPeople, kSn, SearchScope::oneLevel);
    EXPECT_EQ(reads.next().front().dn(), personDn(1));
    EXPECT_EQ(failureOf([&] { return reads.next(); }).first, LDAP_FILTER_ERROR);
    EXPECT_EQ(failureOf([&] { return reads.next(); }).first, LDAP_INVALID_DN_SYNTAX);
    EXPECT_TRUE(reads.next().empty());
    EXPECT_EQ(reads.next().size(), std::size_t{Slapd::kPeople});
  }
  EXPECT_EQ(binding.fetch(personDn(3), kSn, AD_ALL_OBJECTS, true).dn(), personDn(3));
}

TEST_F(LdapReads, AFrozenServerEndsEachReadByItsLimit) {
  EXPECT_TRUE(binding.fetch("", nullptr, AD_ALL_OBJECTS, false));
  LDAPBinding fresh;
  fresh.connectToServer(server_->address());
  Props().set(PN::LDAP_SEARCH_TIMEOUT, "0.2");
  server_->freeze();
  const std::string start = "Timed out (" + server_->address() + "): no answer within ";
  EXPECT_EQ(rootDseFailure(binding), Failure(LDAP_TIMEOUT, start + "0.2 s (ldap.search.timeout)"));
  Props().set(PN::LDAP_SEARCH_TIMEOUT, "10");
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.6");
  EXPECT_EQ(rootDseFailure(fresh), Failure(LDAP_TIMEOUT, start + "0.6 s (ldap.bind.timeout)"));
  EventLoop loop;
  const std::string rest = "0.5 s (what an earlier silence has left of ldap.bind.timeout)";
  const auto readRootDse = [&] { return startRootDseRead(loop, server_->address()).wait().object; };
  EXPECT_EQ(failureOf(readRootDse), Failure(LDAP_TIMEOUT, start + rest));
  server_->thaw();
  EXPECT_TRUE(binding.fetch(personDn(1), kSn, AD_ALL_OBJECTS, true));
  EXPECT_TRUE(readRootDse());
  server_->freeze();
  EXPECT_EQ(failureOf(readRootDse), Failure(LDAP_TIMEOUT, start + "0.6 s (ldap.bind.timeout)"));
  server_->thaw();
}

TEST_F(LdapReads, ALostConnectionFailsWhatIsUnderWayAndIsOpenedAgain) {
  Slapd other;
  LDAPBinding lost;
  lost.connectToServer(other.address());
  PipelinedReads reads(lost);
  for (int i = 0; i < 100; ++i) reads.add(AD_ALL_OBJECTS, personDn(1), kSn, SearchScope::base);
  static_cast<void>(reads.next());
  other.kill();
  int failures = 0;
  while (reads.pending() > 0) {
    failures += failureOf([&] { return reads.next(); }).first == LDAP_SERVER_DOWN ? 1 : 0;
  }
  EXPECT_GE(failures, 68);  // none of those that had not been sent
  EXPECT_EQ(rootDseFailure(lost),
            Failure(LDAP_SERVER_DOWN, "Can't contact LDAP server (" + other.address() +
                                          "): " + other.address() + ": Connection refused"));
}

TEST_F(LdapReads, RootDsesOfSeveralServersComeByName) {
  const Listener mute;
  const std::string refused = Listener().address();
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.3");
  RootDseReads reads({mute.address(), refused, "not:a:port", server_->address()});
  const auto failure = [&](const std::string& server) {
    return failureOf([&] { return reads.take(server); });
  };
  EXPECT_TRUE(reads.take(server_->address()).attributeExists("objectClass", true));
  EXPECT_EQ(failure(refused).first, LDAP_SERVER_DOWN);
  EXPECT_EQ(failure(mute.address()).first, LDAP_TIMEOUT);
  EXPECT_EQ(failure("not:a:port").first, LDAP_PARAM_ERROR);
  EXPECT_TRUE(reads.take(server_->address()));  // taken before: read anew
}

TEST(PipelinedReads, AMuteServerCostsOneLimit) {
  const Listener mute;
  LDAPBinding binding;
  binding.connectToServer(mute.address());
  PipelinedReads reads(binding);
  for (int i = 0; i < 100; ++i) reads.add(AD_ALL_OBJECTS, "", kSn, SearchScope::base);
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.2");
  EXPECT_EQ(failureOf([&] { return reads.next(); }).first, LDAP_TIMEOUT);
  // Each of these would wait for this if the pipeline forgot that the server is silent.
  Props().set(PN::LDAP_BIND_TIMEOUT, "3600");
  while (reads.pending() > 0) {
    EXPECT_EQ(failureOf([&] { return reads.next(); }).first, LDAP_TIMEOUT);
  }
}

/// The answer "" to request 1, an entry without attributes (RFC 4511, 4.5.2).
const std::string kEmptyEntry("\x30\x09\x02\x01\x01\x64\x04\x04\x00\x30\x00", 11);

TEST(LdapAnswers, NonsenseEndsTheReadWithinItsLimit) {
  using namespace std::string_literals;
  struct Row {
    const char* description;
    std::string bytes;
    int code;
  };
  const Row rows[] = {
      {"half a message", "\x30\x50\x02\x01\x01", LDAP_TIMEOUT},
      {"answer to another request", "\x30\x0c\x02\x01\x63\x65\x07\x0a\x01\x00\x04\x00\x04\x00"s,
       LDAP_TIMEOUT},
      {"text", "HTTP/1.1 400 Bad Request\r\n\r\n" + std::string(100, ' '), LDAP_SERVER_DOWN},
      {"two gigabytes announced", "\x30\x84\x7f\xff\xff\xff\x02\x01\x01", LDAP_SERVER_DOWN},
      {"damaged entry", "\x30\x10\x02\x01\x01\x64\x0b\x04\x00\x30\x07\x30\x05\x04\x01\x61\x31\x05"s,
       LDAP_DECODING_ERROR},
      {"damaged number of a message, and one that makes sense",
       "\x30\x07\x02\x05\x01\x01\x01\x01\x01\x30\x0c\x02\x01\x03\x65\x07\x0a\x01\x00\x04\x00\x04\x00"s,
       LDAP_DECODING_ERROR},
      {"two objects at one place", kEmptyEntry + kEmptyEntry, LDAP_PROTOCOL_ERROR},
      {"a referral",
       "\x30\x1b\x02\x01\x01\x65\x16\x0a\x01\x0a\x04\x00\x04\x00\xa3\x0d\x04\x0bldap://\x1b[2J"s,
       LDAP_REFERRAL}};
  Props().set(PN::LDAP_BIND_TIMEOUT, "0.1");
  Props().set(PN::LDAP_SEARCH_TIMEOUT, "0.1");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.description);
    const Listener listener;
    LDAPBinding binding;
    binding.connectToServer(listener.address());
    const UniqueFd peer = listener.accept();
    ASSERT_EQ(::write(peer.get(), row.bytes.data(), row.bytes.size()),
              static_cast<ssize_t>(row.bytes.size()));
    const Failure failure = rootDseFailure(binding);
    EXPECT_EQ(failure.first, row.code);
    EXPECT_EQ(failure.second.find('\x1b'), std::string::npos) << failure.second;
    EXPECT_EQ(rootDseFailure(binding).first, LDAP_TIMEOUT) << "what follows is not trusted";
  }
}

TEST(LdapAnswers, AnAnswerWithoutEndIsEndedByTimeNumberOrSize) {
  struct Row {
    const char* description;
    std::string entry;
    std::chrono::milliseconds pause;
    int times;  // then the peer ends the answer
    int code;
  };
  // An entry whose name is long: request 1, 65,535 bytes and what goes round them.
  const std::string large =
      std::string("\x30\x83\x01\x00\x0c\x02\x01\x01\x64\x83\x01\x00\x04\x04", 14) +
      std::string("\x82\xff\xfe", 3) + std::string(65534, 'n') + std::string("\x30\x00", 2);
  const Row rows[] = {
      {"an object now and then", kEmptyEntry, std::chrono::milliseconds(50), 40, LDAP_TIMEOUT},
      {"more objects than anybody has", kEmptyEntry, {}, 200'000, LDAP_PROTOCOL_ERROR},
      {"large objects", large, {}, 1000, LDAP_PROTOCOL_ERROR}};
  Props().set(PN::LDAP_BIND_TIMEOUT, "10");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.description);
    Props().set(PN::LDAP_SEARCH_TIMEOUT, row.pause.count() > 0 ? "0.4" : "60");
    const Listener listener;
    LDAPBinding binding;
    binding.connectToServer(listener.address());
    const UniqueFd peer = listener.accept();
    std::jthread writer([&](const std::stop_token& stop) {
      const std::string done("\x30\x0c\x02\x01\x01\x65\x07\x0a\x01\x00\x04\x00\x04\x00", 14);
      for (int i = 0; i <= row.times && !stop.stop_requested(); ++i) {
        const std::string& bytes = i < row.times ? row.entry : done;
        if (::send(peer.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) return;
        std::this_thread::sleep_for(row.pause);
      }
    });
    const Failure failure =
        failureOf([&] { return binding.search("(a=b)", "o=x", nullptr, 1, 0, 0, 0); });
    EXPECT_EQ(failure.first, row.code) << failure.second;
    writer.request_stop();
    ::shutdown(peer.get(), SHUT_RDWR);
  }
}

TEST(LdapAnswers, PagesWithoutEndAreAFailure) {
  using namespace std::string_literals;
  const Listener listener;
  LDAPBinding binding;
  binding.connectToServer(listener.address());
  const UniqueFd peer = listener.accept();
  for (const char number : {'\1', '\2'}) {  // no objects, and the same cookie (RFC 2696)
    const std::string page = "\x30\x32\x02\x01"s + number +
                             "\x65\x07\x0a\x01\x00\x04\x00\x04\x00\xa0\x24\x30\x22\x04\x16"
                             "1.2.840.113556.1.4.319"
                             "\x04\x08\x30\x06\x02\x01\x00\x04\x01\x63"s;
    ASSERT_EQ(::write(peer.get(), page.data(), page.size()), static_cast<ssize_t>(page.size()));
  }
  PagedObjectList list =
      binding.searchPaged(7, AD_ALL_OBJECTS, "", kSn, SearchScope::subtree, 0, 0);
  EXPECT_EQ(failureOf([&] { return list.nextPage(), 0; }).first, LDAP_PROTOCOL_ERROR);
}

TEST(LdapAnswers, PagesThatAreKeptAreNoMoreThanOneSearch) {
  using namespace std::string_literals;
  Props().set(PN::LDAP_SEARCH_TIMEOUT, "60");
  for (const bool keeps : {false, true}) {
    const Listener listener;
    LDAPBinding binding;
    binding.connectToServer(listener.address());
    const UniqueFd peer = listener.accept();
    const std::jthread writer([&peer] {
      constexpr int kObjects = 60'000;  // on each of two pages
      for (char number = 1; number <= 2; ++number) {
        std::string page;
        std::string entry = kEmptyEntry;
        entry[4] = number;
        for (int i = 0; i < kObjects; ++i) page += entry;
        page += "\x30\x32\x02\x01"s + number +
                "\x65\x07\x0a\x01\x00\x04\x00\x04\x00\xa0\x24\x30\x22\x04\x16"
                "1.2.840.113556.1.4.319"
                "\x04\x08\x30\x06\x02\x01\x00\x04\x01\x63"s;
        (void)::send(peer.get(), page.data(), page.size(), MSG_NOSIGNAL);
      }
    });
    PagedObjectList list =
        binding.searchPaged(7, AD_ALL_OBJECTS, "", kSn, SearchScope::subtree, 0, 0);
    if (keeps) list.keepAll();
    const int code = keeps ? LDAP_PROTOCOL_ERROR : 0;
    EXPECT_EQ(failureOf([&] { return list.nextPage(), 0; }).first, code) << keeps;
    ::shutdown(peer.get(), SHUT_RDWR);
  }
}

}  // namespace
}  // namespace tolk
