// Initial credentials and service tickets against KDCs that answer as a test says: which code comes
// out, how often they are asked, and what stays in memory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "scripted_kdc.h"
#include "tolk/base/exceptions.h"
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
constexpr int kPreauthFailed = 24, kPreauthRequired = 25, kServiceUnavailable = 29;

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
test::KdcScript refusing(int code) {
  return [code, asked = 0](const Bytes&) mutable -> std::optional<Bytes> {
    return ++asked == 1 ? krbError(kPreauthRequired, methods()) : krbError(code);
  };
}

test::KdcScript answering(int code) {
  return [code](const Bytes&) -> std::optional<Bytes> { return krbError(code); };
}

/// A configuration that names KDCs of its own, which must not be asked.
class ForeignConfiguration {
 public:
  ForeignConfiguration()
      : path_(testing::TempDir() + "tickets-" + std::to_string(::getpid()) + ".conf"),
        variable_("KRB5_CONFIG", path_) {
    std::ofstream(path_) << "[realms]\n TEST.REALM = {\n  kdc = 127.0.0.1:1\n"
                            "  master_kdc = 127.0.0.1:1\n  primary_kdc = 127.0.0.1:1\n }\n";
  }
  ForeignConfiguration(const ForeignConfiguration&) = delete;
  ForeignConfiguration& operator=(const ForeignConfiguration&) = delete;
  ~ForeignConfiguration() { ::unlink(path_.c_str()); }

 private:
  std::string path_;
  ScopedVariable variable_;
};

class Tickets : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(krb5_set_server_locator(kerberos.get(), locate), 0);
    knownKdcs.clear();
  }
  ~Tickets() override { Props().set(PN::KRB5_KDC_TIMEOUT, "5"); }

  /// The code of the failure when alice asks for a ticket with a password.
  int passwordFailure(const InitialCredentialsCallback& callback) {
    try {
      BindingTickets::forUser(kerberos, "alice", "test.realm")
          ->obtain(callback, "dc1.test.realm", "TEST.REALM");
    } catch (const Base_Exception& failure) {
      text = failure.what();
      return failure.code();
    }
    return 0;
  }

  int passwordFailure(const char* password) {
    const CallbackData data(new Shredder(password), gic_shredder_callback_data_free_function);
    return passwordFailure({gic_with_password_callback, data,
                            gic_shredder_callback_data_copy_function,
                            gic_shredder_callback_data_free_function});
  }

  /// A memory cache with a ticket of `client`.
  std::string cacheOf(const std::string& client) {
    cache = std::make_unique<Krb5OwnCache>(kerberos.get());
    krb5_cc_new_unique(kerberos.get(), "MEMORY", nullptr, cache->out());
    test::storeTicket(kerberos.get(), cache->get(), client, 3600);
    return std::string("MEMORY:") + krb5_cc_get_name(kerberos.get(), cache->get());
  }

  ForeignConfiguration configuration;
  KerberosContext kerberos;
  std::unique_ptr<Krb5OwnCache> cache;
  std::string text;
};

TEST_F(Tickets, ARefusedPasswordIsTriedOnceAndNamedAsSuch) {
  struct Row {
    int protocolCode;
    int failure;
  };
  const Row rows[] = {
      {kPreauthFailed, BindError::kInvalidCredentials},
      {31, BindError::kInvalidCredentials},
      {kUnknownClient, static_cast<int>(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN)},
      {kClientRevoked, static_cast<int>(KRB5KDC_ERR_CLIENT_REVOKED)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.protocolCode);
    const ScriptedKdc kdc(refusing(row.protocolCode));
    knownKdcs = {kdc.address()};
    EXPECT_EQ(passwordFailure("wrong"), row.failure);
    EXPECT_EQ(kdc.requests(),
              2);  // without and with the password: a third would count against the user
  }
}

constexpr char kHalf[] = "Xq7-marker";
constexpr char kOtherHalf[] = "-vB3#z";

/// How often both halves, joined, are in the writable memory of `process`. They are never joined
/// here.
int occurrencesIn(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process);
  const std::string_view half = kHalf, otherHalf = kOtherHalf;
  const UniqueFd memory(::open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC));
  std::ifstream maps(folder + "/maps");
  int found = memory ? 0 : -1;
  for (std::string line; std::getline(maps, line);) {
    unsigned long from = 0, to = 0;
    char rights[5] = {};
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, rights) != 3 || rights[1] != 'w' ||
        to - from > (64UL << 20))
      continue;
    std::string copy(to - from, '\0');
    const ssize_t count = ::pread(memory.get(), copy.data(), copy.size(), static_cast<off_t>(from));
    copy.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    for (std::size_t at = copy.find(half); at != std::string::npos; at = copy.find(half, at + 1))
      if (copy.compare(at + half.size(), otherHalf.size(), otherHalf) == 0) ++found;
  }
  return found;
}

/// The same for this process. A child looks, or the search itself would leave copies.
int occurrences() {
  const pid_t searched = ::getpid();
  const pid_t child = ::fork();
  if (child == 0) ::_exit(occurrencesIn(searched));
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

CallbackData markedPassword() {
  char both[sizeof kHalf + sizeof kOtherHalf] = {};
  volatile char* next = both;  // byte by byte: nothing larger travels through a register
  for (const char* c = kHalf; *c != '\0'; ++c) *next++ = *c;
  for (const char* c = kOtherHalf; *c != '\0'; ++c) *next++ = *c;
  CallbackData data(new Shredder(both), gic_shredder_callback_data_free_function);
  explicit_bzero(both, sizeof both);
  return data;
}

TEST_F(Tickets, NoCopyOfThePasswordStaysBehind) {
  const ScriptedKdc kdc(refusing(kPreauthFailed));
  knownKdcs = {kdc.address()};
  const Krb5Principal alice = userPrincipal(kerberos.get(), "alice", "test.realm");
  CallbackData data = markedPassword();
  ASSERT_GE(occurrences(), 1) << "the search itself does not work";
  Krb5CredsContents credentials(kerberos.get());
  EXPECT_EQ(gic_with_password_callback(kerberos.get(), credentials.get(), alice.get(), data.get()),
            static_cast<krb5_error_code>(KRB5KDC_ERR_PREAUTH_FAILED));
  EXPECT_EQ(kdc.requests(), 2);
  data.reset();
  EXPECT_EQ(occurrences(), 0);
}

TEST_F(Tickets, TheLibrarySearchesForNoKdcItself) {
  EXPECT_EQ(passwordFailure("any"), static_cast<int>(KRB5_REALM_UNKNOWN));

  Props().set(PN::KRB5_KDC_TIMEOUT, "0.2");
  const ScriptedKdc mute([](const Bytes&) { return std::optional<Bytes>(); });
  knownKdcs = {mute.address()};
  EXPECT_EQ(passwordFailure("any"), static_cast<int>(KRB5_KDC_UNREACH));
  EXPECT_NE(text.find("no answer within 0.2 s, krb5.kdc.timeout"), std::string::npos) << text;

  knownKdcs = {test::refusedAddress()};
  EXPECT_EQ(passwordFailure("any"), static_cast<int>(KRB5_KDC_UNREACH));

  krb5_set_server_locator(kerberos.get(), failToLocate);
  EXPECT_EQ(passwordFailure("any"), static_cast<int>(KRB5_KDC_UNREACH));
  EXPECT_NE(text.find("no DNS server answered"), std::string::npos) << text;
}

TEST_F(Tickets, AServerThatCannotServeNowPassesTheQuestionOn) {
  const ScriptedKdc starting(answering(kServiceUnavailable));
  const ScriptedKdc second(answering(kUnknownClient));
  knownKdcs = {starting.address(), second.address()};
  EXPECT_EQ(passwordFailure("any"), static_cast<int>(KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN));
  EXPECT_EQ(starting.requests(), 1);
}

struct Callback {
  explicit Callback(krb5_error_code code) : result(code) {}
  krb5_error_code result;
  std::vector<std::string> principals;

  static krb5_error_code called(krb5_context context, krb5_creds* /*out*/, krb5_principal principal,
                                void* data) {
    auto* self = static_cast<Callback*>(data);
    self->principals.push_back(principalText(context, principal));
    return self->result;
  }
};

TEST_F(Tickets, ARevokedTicketIsAskedForAgainOnce) {
  const ScriptedKdc kdc(answering(kTgtRevoked));
  knownKdcs = {kdc.address()};
  const auto tickets = BindingTickets::fromCache(kerberos, cacheOf("alice@TEST.REALM"));
  const auto callback =
      boost::make_shared<Callback>(static_cast<krb5_error_code>(KRB5KDC_ERR_PREAUTH_FAILED));
  try {
    tickets->obtain({Callback::called, callback, nullptr, nullptr}, "dc1.test.realm", "TEST.REALM");
    FAIL() << "a revoked ticket was good enough";
  } catch (const KerberosException& failure) {
    EXPECT_EQ(failure.code(), static_cast<int>(KRB5KDC_ERR_TGT_REVOKED));
  }
  EXPECT_EQ(callback->principals, std::vector<std::string>{"alice@TEST.REALM"});
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
  EXPECT_THROW(tickets->obtain({fresh, {}, nullptr, nullptr}, "dc1.test.realm", "TEST.REALM"),
               KerberosException);
  EXPECT_EQ(kdc.requests(), 4);  // with the old and with the new ticket, with and without referrals
  EXPECT_NE(tickets->cacheName(), name);
  EXPECT_EQ(tickets->cacheName().substr(0, 7), "MEMORY:");
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
    try {
      tickets->obtain({}, "dc1.other.realm", row.realm);
      FAIL() << "an unknown server gave a ticket";
    } catch (const Base_Exception& failure) {
      EXPECT_EQ(failure.code(), row.failure) << failure.what();
    }
  }
}

TEST(KdcLocator, AContextOfOthersIsRefused) {
  krb5_context foreign = nullptr;
  ASSERT_EQ(krb5_init_context(&foreign), 0);
  EXPECT_EQ(krb5_set_server_locator(foreign, locate), EINVAL);
  krb5_free_context(foreign);
}

}  // namespace
}  // namespace tolk
