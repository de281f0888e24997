// A TCP server on the loopback that answers KDC requests as a test says, and what it takes to make
// such answers.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/tcp_port.h"
#include "tolk/krb5/krb5_library.h"

namespace tolk::test {

using Bytes = std::vector<char>;

/// Gets a request without its length and returns what is to be sent, length included; an empty
/// answer cuts the connection, none leaves it open in silence.
using KdcScript = std::function<std::optional<Bytes>(const Bytes& request)>;

/// Answers on a thread of its own until it is destroyed.
class ScriptedKdc {
 public:
  explicit ScriptedKdc(KdcScript script);
  ScriptedKdc(const ScriptedKdc&) = delete;
  ScriptedKdc& operator=(const ScriptedKdc&) = delete;
  ~ScriptedKdc();

  [[nodiscard]] sockaddr_in address() const noexcept { return listener_.where(); }
  [[nodiscard]] int requests() const noexcept { return requests_; }

 private:
  void serve();
  void answer(UniqueFd client);

  KdcScript script_;
  Listener listener_;
  UniqueFd stopped_;  // event: the end has come
  std::atomic<int> requests_ = 0;
  std::vector<UniqueFd> silent_;
  std::thread thread_;
};

/// `message` with its length in front.
Bytes framed(const Bytes& message);

/// A KRB-ERROR (RFC 4120, 5.9.1) with a protocol code such as 25, error data and text, framed.
Bytes krbError(int protocolCode, const std::string& data = {}, const std::string& text = {});

/// One DER element.
std::string der(unsigned char tag, const std::string& content);

/// Puts a ticket granting ticket of `client` ("name@REALM") into `cache`, valid for `seconds` from
/// now. No KDC would take it; it is good enough to ask one with.
void storeTicket(krb5_context context, krb5_ccache cache, const std::string& client, int seconds);

}  // namespace tolk::test
