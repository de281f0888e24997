#include "scripted_kdc.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace tolk::test {
namespace {

bool readExactly(int fd, char* target, std::size_t size) {
  return ::recv(fd, target, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

}  // namespace

ScriptedKdc::ScriptedKdc(KdcScript script)
    : script_(std::move(script)), stopped_(::eventfd(0, EFD_CLOEXEC)) {
  thread_ = std::thread([this] { serve(); });
}

ScriptedKdc::~ScriptedKdc() {
  ::eventfd_write(stopped_.get(), 1);
  thread_.join();
}

void ScriptedKdc::serve() {
  for (;;) {
    pollfd waits[] = {{listener_.descriptor(), POLLIN, 0}, {stopped_.get(), POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0 || waits[1].revents != 0) return;
    answer(listener_.accept());
  }
}

void ScriptedKdc::answer(UniqueFd client) {
  std::uint32_t length = 0;
  if (!readExactly(client.get(), reinterpret_cast<char*>(&length), sizeof length)) return;
  Bytes request(ntohl(length));
  if (!readExactly(client.get(), request.data(), request.size())) return;
  ++requests_;
  const std::optional<Bytes> reply = script_(request);
  if (!reply) {
    silent_.push_back(std::move(client));
    return;
  }
  for (const char byte : *reply)  // in single bytes, as slow a network as there is
    if (::send(client.get(), &byte, 1, MSG_NOSIGNAL) != 1) return;
}

Bytes framed(const Bytes& message) {
  const std::uint32_t length = htonl(static_cast<std::uint32_t>(message.size()));
  Bytes out(sizeof length + message.size());
  std::memcpy(out.data(), &length, sizeof length);
  std::ranges::copy(message, out.begin() + sizeof length);
  return out;
}

Bytes krbError(int protocolCode, const std::string& data, const std::string& text) {
  krb5_context context = nullptr;
  krb5_init_context(&context);
  krb5_principal server = nullptr;
  krb5_parse_name(context, "krbtgt/TEST.REALM@TEST.REALM", &server);
  krb5_error error{};
  error.error = static_cast<krb5_ui_4>(protocolCode);
  error.server = server;
  error.stime = static_cast<krb5_timestamp>(std::time(nullptr));
  error.e_data.data = const_cast<char*>(data.data());
  error.e_data.length = static_cast<unsigned>(data.size());
  error.text.data = const_cast<char*>(text.data());
  error.text.length = static_cast<unsigned>(text.size());
  krb5_data encoded{};
  krb5_mk_error(context, &error, &encoded);
  const Bytes bytes(encoded.data, encoded.data + encoded.length);
  krb5_free_data_contents(context, &encoded);
  krb5_free_principal(context, server);
  krb5_free_context(context);
  return framed(bytes);
}

std::string der(unsigned char tag, const std::string& content) {
  std::string out(1, static_cast<char>(tag));
  if (content.size() >= 128) out += '\x81';  // long enough for tests: below 256
  out += static_cast<char>(content.size());
  return out + content;
}

namespace {

constexpr unsigned char kInteger = 0x02, kOctets = 0x04, kGeneralString = 0x1b, kSequence = 0x30;
constexpr unsigned char kField = 0xa0;

std::string number(int value) {
  return der(kInteger, std::string(1, static_cast<char>(value)));
}

/// A Ticket (RFC 4120, 5.3) with an encrypted part that nobody can open.
std::string ticketFor(const std::string& realm) {
  const std::string names =
      der(kSequence, der(kGeneralString, "krbtgt") + der(kGeneralString, realm));
  const std::string server = der(kSequence, der(kField, number(2)) + der(kField + 1, names));
  const std::string sealed =
      der(kSequence, der(kField, number(18)) + der(kField + 2, der(kOctets, "sealed")));
  return der(0x61,
             der(kSequence, der(kField, number(5)) + der(kField + 1, der(kGeneralString, realm)) +
                                der(kField + 2, server) + der(kField + 3, sealed)));
}

}  // namespace

void storeTicket(krb5_context context, krb5_ccache cache, const std::string& client, int seconds) {
  const std::string realm = client.substr(client.find('@') + 1);
  std::string ticket = ticketFor(realm);
  Krb5Principal owner(context);
  throwIfKrb5(context, krb5_parse_name(context, client.c_str(), owner.out()), client);
  Krb5Principal server(context);
  throwIfKrb5(context,
              krb5_build_principal(context, server.out(), static_cast<unsigned>(realm.size()),
                                   realm.c_str(), "krbtgt", realm.c_str(), nullptr),
              realm);
  krb5_creds credentials{};
  credentials.client = owner.get();
  credentials.server = server.get();
  credentials.times.authtime = static_cast<krb5_timestamp>(std::time(nullptr));
  credentials.times.endtime = credentials.times.authtime + seconds;
  credentials.ticket.data = ticket.data();
  credentials.ticket.length = static_cast<unsigned>(ticket.size());
  throwIfKrb5(
      context,
      krb5_c_make_random_key(context, ENCTYPE_AES256_CTS_HMAC_SHA1_96, &credentials.keyblock),
      "key");
  const krb5_error_code initialised = krb5_cc_initialize(context, cache, owner.get());
  const krb5_error_code stored = krb5_cc_store_cred(context, cache, &credentials);
  krb5_free_keyblock_contents(context, &credentials.keyblock);
  throwIfKrb5(context, initialised, "cache");
  throwIfKrb5(context, stored, "ticket");
}

}  // namespace tolk::test
