// Initial credentials and service tickets against KDCs that answer as a test says: which code comes
// out, and how often they are asked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <fstream>

#include "scripted_kdc.h"
#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/binding_tickets.h"
#include "tolk/krb5/kdc_locator.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/scoped_variable.h"
#include "tolk/krb5/user_principal.h"

namespace tolk {
namespace {

using test::Bytes;
using test::der;
using test::krbError;
using test::ScriptedKdc;

constexpr int kUnknownClient = 6, kUnknownServer = 7, kClientRevoked = 18, kTgtRevoked = 20;
constexpr int kPreauthFailed = 24, kPreauthRequired = 25, kServiceUnavailable = 29,
              kIntegrityFailed = 31, kKeyExpired = 23;

KdcAddresses knownKdcs;

KdcAddresses locate(const std::string& /*realm*/) {
  return knownKdcs;
}

[[noreturn]] KdcAddresses failToLocate(const std::string& /*realm*/) {
  throw DNSUnavailableException("no DNS server answered");
}

/// METHOD-DATA (RFC 4120, 5.2.7): encrypted timestamp with an AES-256 key.
std::string methods() {
  const std::string info =
      der(0x30, der(0x30, der(0xa0, der(0x02, "\x12")) + der(0xa1, der(0x1b, "TEST.REALMalice"))));
  return der(0x30, der(0x30, der(0xa1, der(0x02, "\x13")) + der(0xa2, der(0x04, info))) +
                       der(0x30, der(0xa1, der(0x02, "\x02")) + der(0xa2, der(0x04, ""))));
}

/// Wants a password first, then refuses it with `code`.
test::KdcScript refusing(int code, const std::string& data = {}) {
  return [=, asked = 0](const Bytes& request) mutable -> std::optional<Bytes> {
    // KDCOptions: canonicalize (RFC 6806, 3) and renewable-ok alone.
    constexpr std::string_view kOptions("\x03\x05\x00\x00\x01\x00\x10", 7);
    EXPECT_NE(std::string_view(request.data(), request.size()).find(kOptions),
              std::string_view::npos);
    return ++asked == 1 ? krbError(kPreauthRequired, methods()) : krbError(code, data);
  };
}

/// KERB-ERROR-DATA (MS-KILE 2.2.2) with an NT status.
std::string extendedError(std::uint32_t status) {
  std::string value(12, '\0');
  for (std::size_t i = 0; i < 4; ++i) value[i] = static_cast<char>(status >> (8 * i));
  return der(0x30, der(0xa1, der(0x02, "\x03")) + der(0xa2, der(0x04, value)));
}

test::KdcScript answering(int code) {
  return [code](const Bytes&) -> std::optional<Bytes> { return krbError(code); };
}

class Tickets : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(krb5_set_server_locator(kerberos.get(), locate), 0);
    knownKdcs.clear();
  }

  /// The code of the failure when alice asks for a ticket with a password.
  int passwordFailure(const char* password = "any") {
    const CallbackData data(new Shredder(password), gic_shredder_callback_data_free_function);
    return failureOf(*BindingTickets::forUser(kerberos, "alice", "test.realm"),
                     {gic_with_password_callback, data, gic_shredder_callback_data_copy_function,
                      gic_shredder_callback_data_free_function});
  }

  int failureOf(BindingTickets& tickets, const InitialCredentialsCallback& callback,
                const char* realm = "TEST.REALM", bool named = false) {
    try {
      tickets.obtain(callback, {.host = "dc1.test.realm", .realm = realm, .named = named});
    } catch (const Base_Exception& failure) {
      text = failure.what();
      return failure.code();
    }
    return 0;
  }

  /// A memory cache with a ticket of `client`.
  std::string cacheOf(const std::string& client) {
    cache = std::make_unique<Krb5OwnCache>(kerberos.get());
    krb5_cc_new_unique(kerberos.get(), "MEMORY", nullptr, cache->out());
    test::storeTicket(kerberos.get(), cache->get(), client, 3600);
    return std::string("MEMORY:") + krb5_cc_get_name(kerberos.get(), cache->get());
  }

  ScratchDirectory directory;
  /// A configuration that names KDCs of its own, which must not be asked.
  ScopedVariable configuration{"KRB5_CONFIG",
                               directory.write("krb5.conf",
                                               "[realms]\n TEST.REALM = {\n  kdc = 127.0.0.1:1\n"
                                               "  master_kdc = 127.0.0.1:1\n }\n")};
  KerberosContext kerberos;
  std::unique_ptr<Krb5OwnCache> cache;
  std::string text;
};

TEST_F(Tickets, ARefusedPasswordIsTriedOnce) {
  const std::pair<int, int> rows[] = {
      {kPreauthFailed, BindError::kInvalidCredentials},
      {kIntegrityFailed, BindError::kInvalidCredentials},
      {kClientRevoked, static_cast<int>(KRB5KDC_ERR_CLIENT_REVOKED)},
  };
  for (const auto& [protocolCode, failure] : rows) {
    const ScriptedKdc kdc(refusing(protocolCode));
    knownKdcs = {kdc.address()};
    EXPECT_EQ(passwordFailure(), failure) << protocolCode;
    // without and with the password: a third would count against the user
    EXPECT_EQ(kdc.requests(), 2) << protocolCode;
  }
}

TEST_F(Tickets, AnEmptyPasswordIsNotSent) {
  const ScriptedKdc kdc(refusing(kPreauthFailed));
  knownKdcs = {kdc.address()};
  EXPECT_EQ(passwordFailure(""), BindError::kInvalidCredentials);
  EXPECT_EQ(kdc.requests(), 0);
}

TEST_F(Tickets, ARefusalSaysWhatIsWrongWithTheAccount) {
  struct Row {
    int protocolCode;
    std::uint32_t status;
    long code;
    const char* text;
  };
  const Row rows[] = {
      {kClientRevoked, 0xC0000072, KRB5KDC_ERR_CLIENT_REVOKED, "the account is disabled:"},
      {kClientRevoked, 0xC0000193, KRB5KDC_ERR_CLIENT_REVOKED, "the account has expired"},
      {kClientRevoked, 0xC0000234, KRB5KDC_ERR_CLIENT_REVOKED, "the account is locked"},
      {kClientRevoked, 1, KRB5KDC_ERR_CLIENT_REVOKED, "the account is disabled, expired or locked"},
      {kKeyExpired, 0xC0000224, KRB5KDC_ERR_KEY_EXP, "the password must be changed"},
      {kKeyExpired, 0xC0000071, KRB5KDC_ERR_KEY_EXP, "the password has expired:"},
      {kUnknownClient, 1, BindError::kUnknownUser, "the domain has no such account"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const ScriptedKdc kdc(refusing(row.protocolCode, extendedError(row.status)));
    knownKdcs = {kdc.address()};
    EXPECT_EQ(passwordFailure(), static_cast<int>(row.code));
    EXPECT_THAT(text, testing::HasSubstr(std::string("alice@TEST.REALM: ") + row.text));
  }
}

TEST_F(Tickets, TextsOfTheKdcAreEscaped) {
  constexpr int kGenericError = 60;
  const ScriptedKdc kdc([](const Bytes&) -> std::optional<Bytes> {
    return krbError(kGenericError, {}, "\x1b[2J\nPassword is correct");
  });
  knownKdcs = {kdc.address()};
  const auto tickets = BindingTickets::fromCache(kerberos, cacheOf("alice@TEST.REALM"));
  EXPECT_EQ(failureOf(*tickets, {}), static_cast<int>(KRB5KRB_ERR_GENERIC));
  EXPECT_THAT(text, testing::HasSubstr("\\x1B[2J\\x0APassword"));
}

/// A log file at the most detailed level while it lives.
class DetailedLog {
 public:
  explicit DetailedLog(std::string path) : path_(std::move(path)) {
    openLog(LogSink::file, path_);
    setLevel("TRACE");
  }
  DetailedLog(const DetailedLog&) = delete;
  DetailedLog& operator=(const DetailedLog&) = delete;
  ~DetailedLog() {
    openLog(LogSink::file, "");
    setLevel(std::string(PN::ROOT_LOGGER_NAME.value));
  }
  [[nodiscard]] std::string text() const {
    std::ifstream in(path_);
    return {std::istreambuf_iterator<char>(in), {}};
  }

 private:
  static void setLevel(const std::string& level) {
    Props().set(PN::ROOT_LOGGER_NAME, level);
    Logger::ReconfigureLevels(Props());
  }
  std::string path_;
};

TEST_F(Tickets, TheTraceHasNothingToTestPasswordsWith) {
  const DetailedLog log(directory.path("trace"));
  const ScriptedKdc kdc(refusing(kPreauthFailed));
  knownKdcs = {kdc.address()};
  EXPECT_EQ(passwordFailure(), BindError::kInvalidCredentials);
  const std::string records = log.text();
  for (const char* kept : {"Getting initial credentials for alice@TEST.REALM",
                           "Selected etype info: etype aes256-cts (", "Encrypted timestamp ("})
    EXPECT_THAT(records, testing::HasSubstr(kept));
  for (const char* secret : {"TEST.REALMalice", "plain ", "aes256-cts/", "\\x0A"})
    EXPECT_THAT(records, testing::Not(testing::HasSubstr(secret)));
}

TEST_F(Tickets, TheLibrarySearchesForNoKdcItself) {
  EXPECT_EQ(passwordFailure(), static_cast<int>(KRB5_REALM_UNKNOWN));

  Props().set(PN::KRB5_KDC_TIMEOUT, "0.2");
  const ScriptedKdc mute([](const Bytes&) { return std::optional<Bytes>(); });
  knownKdcs = {mute.address()};
  EXPECT_EQ(passwordFailure(), static_cast<int>(KRB5_KDC_UNREACH));
  EXPECT_NE(text.find("no answer within 0.2 s, krb5.kdc.timeout"), std::string::npos) << text;

  krb5_set_server_locator(kerberos.get(), failToLocate);
  EXPECT_EQ(passwordFailure(), static_cast<int>(KRB5_KDC_UNREACH));
  EXPECT_NE(text.find("no DNS server answered"), std::string::npos) << text;
}

TEST_F(Tickets, AServerThatCannotServeNowPassesTheQuestionOn) {
  const ScriptedKdc starting(answering(kServiceUnavailable));
  const ScriptedKdc second(answering(kUnknownClient));
  knownKdcs = {starting.address(), second.address()};
  EXPECT_EQ(passwordFailure(), BindError::kUnknownUser);
  EXPECT_EQ(starting.requests(), 1);
}

TEST_F(Tickets, ARevokedTicketIsAskedForAgainOnce) {
  const ScriptedKdc kdc(answering(kTgtRevoked));
  knownKdcs = {kdc.address()};
  const auto tickets = BindingTickets::fromCache(kerberos, cacheOf("alice@TEST.REALM"));
  const auto asked = boost::make_shared<std::vector<std::string>>();
  const InitialCredentialsFunction refuse = [](krb5_context context, krb5_creds*,
                                               krb5_principal principal, void* data) {
    static_cast<std::vector<std::string>*>(data)->push_back(principalText(context, principal));
    return static_cast<krb5_error_code>(KRB5KDC_ERR_PREAUTH_FAILED);
  };
  EXPECT_EQ(failureOf(*tickets, {refuse, asked, nullptr, nullptr}),
            static_cast<int>(KRB5KDC_ERR_TGT_REVOKED));
  EXPECT_EQ(*asked, std::vector<std::string>{"alice@TEST.REALM"});
  EXPECT_EQ(kdc.requests(), 2) << "there is no new ticket to ask with";
}

TEST_F(Tickets, ANewTicketGoesToMemoryAndIsUsed) {
  const ScriptedKdc kdc(answering(kTgtRevoked));
  knownKdcs = {kdc.address()};
  const std::string name = cacheOf("alice@TEST.REALM");
  const auto tickets = BindingTickets::fromCache(kerberos, name, true);
  EXPECT_EQ(tickets->cacheName(), name);
  const InitialCredentialsFunction fresh = [](krb5_context context, krb5_creds* out,
                                              krb5_principal principal, void*) {
    Krb5OwnCache source(context);
    krb5_cc_new_unique(context, "MEMORY", nullptr, source.out());
    test::storeTicket(context, source.get(), principalText(context, principal), 60);
    krb5_cc_cursor cursor = nullptr;
    krb5_cc_start_seq_get(context, source.get(), &cursor);
    const krb5_error_code code = krb5_cc_next_cred(context, source.get(), &cursor, out);
    krb5_cc_end_seq_get(context, source.get(), &cursor);
    return code;
  };
  EXPECT_NE(failureOf(*tickets, {fresh, {}, nullptr, nullptr}), 0);
  EXPECT_EQ(kdc.requests(), 4);  // with the old and with the new ticket, with and without referrals
  EXPECT_NE(tickets->cacheName(), name);
  EXPECT_EQ(tickets->cacheName().substr(0, 7), "MEMORY:");
}

TEST_F(Tickets, OnlyWhatWasNamedMayBeKnownByANameThatAMemberCanHave) {
  const std::string controllers = der(0x1b, "dc1.test.realm") + der(0x1b, "test.realm");
  const std::string anybodys = der(0x30, der(0x1b, "ldap") + der(0x1b, "dc1.test.realm"));
  std::vector<std::string> asked;
  const ScriptedKdc kdc([&asked](const Bytes& request) -> std::optional<Bytes> {
    asked.emplace_back(request.data(), request.size());
    return krbError(kUnknownServer);
  });
  knownKdcs = {kdc.address()};
  for (const bool named : {false, true}) {
    asked.clear();
    const auto tickets = BindingTickets::fromCache(kerberos, cacheOf("alice@TEST.REALM"));
    EXPECT_EQ(failureOf(*tickets, {}, "TEST.REALM", named),
              static_cast<int>(KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN));
    EXPECT_THAT(asked, testing::Contains(testing::HasSubstr(controllers)));
    EXPECT_EQ(
        std::ranges::any_of(
            asked, [&](const std::string& one) { return one.find(anybodys) != std::string::npos; }),
        named);
  }
}

TEST_F(Tickets, AComputerOfAnotherForestIsToldSo) {
  struct Row {
    const char* client;
    const char* realm;
    int failure;
  };
  const Row rows[] = {
      {"HOST1$@TEST.REALM", "OTHER.REALM", BindError::kJoinedToOtherDomain},
      {"HOST1$@TEST.REALM", "TEST.REALM", static_cast<int>(KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN)},
      {"alice@TEST.REALM", "OTHER.REALM", static_cast<int>(KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN)},
  };
  const ScriptedKdc kdc(answering(kUnknownServer));
  knownKdcs = {kdc.address()};
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.client) + " to " + row.realm);
    const auto tickets = BindingTickets::fromCache(kerberos, cacheOf(row.client));
    EXPECT_EQ(failureOf(*tickets, {}, row.realm), row.failure) << text;
  }
}

}  // namespace
}  // namespace tolk
