#include "tolk/krb5/kdc_exchange.h"

#include <gtest/gtest.h>

#include <future>

#include "scripted_kdc.h"
#include "tests/support/failure_of.h"
#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using test::Bytes;
using test::framed;
using test::ScriptedKdc;

constexpr int kAmpleMs = 20000;
const KdcReplyCheck kAny = [](auto) { return true; };

template <std::size_t size>
Bytes bytes(const char (&text)[size]) {
  return {text, text + size - 1};
}

std::optional<Bytes> good(const Bytes&) {
  return framed(bytes("good"));
}
std::optional<Bytes> silence(const Bytes&) {
  return std::nullopt;
}
test::KdcScript sending(Bytes reply) {
  return [reply = std::move(reply)](const Bytes&) { return reply; };
}

Bytes exchange(const KdcAddresses& kdcs, int limitMs, const KdcReplyCheck& settles = kAny) {
  return exchangeWithKdcs(kdcs, bytes("request"), std::chrono::milliseconds(limitMs), settles);
}

TEST(KdcExchange, AUselessFirstServerIsNotTheEnd) {
  const std::pair<const char*, test::KdcScript> rows[] = {
      {"cuts the connection", sending({})},
      {"cuts it within the reply", sending(bytes("\0\0\0\4goo"))},
      {"says its reply is empty", sending(framed({}))},
      {"announces 2 GiB", sending(bytes("\x7f\xff\xff\xff....."))},
      {"is silent", silence},
      {"has a reply that settles nothing", sending(framed(bytes("busy")))}};
  const KdcReplyCheck notBusy = [](auto reply) { return reply[0] != 'b'; };
  for (const auto& [what, script] : rows) {
    SCOPED_TRACE(what);
    const ScriptedKdc first(script);
    Bytes seen;
    {
      const ScriptedKdc second([&seen](const Bytes& request) {
        seen = request;
        return good(request);
      });
      EXPECT_EQ(exchange({test::closedAddress(), first.address(), second.address()}, 2000, notBusy),
                bytes("good"));
    }
    EXPECT_EQ(seen, bytes("request"));
  }
}

TEST(KdcExchange, ALateFirstServerStillCounts) {
  // The second one refuses to settle, the first answers only once the second was asked.
  std::promise<void> secondAsked;
  const ScriptedKdc first([wait = secondAsked.get_future().share()](const Bytes& request) {
    wait.wait();
    return good(request);
  });
  const ScriptedKdc second([&secondAsked](const Bytes&) -> std::optional<Bytes> {
    secondAsked.set_value();
    return std::nullopt;
  });
  EXPECT_EQ(exchange({first.address(), second.address()}, 2000), bytes("good"));
}

TEST(KdcExchange, FailuresSayWhatEndedTheWait) {
  const ScriptedKdc mute(silence);
  EXPECT_THROW(exchange({mute.address(), test::closedAddress()}, 200), TimeoutException);
  const ScriptedKdc huge(sending(bytes("\0\x10\0\1.....")));  // a byte more than 1 MiB
  for (const auto& [kdc, code] :
       {std::pair(test::closedAddress(), ECONNREFUSED), {huge.address(), EPROTO}}) {
    const std::string failure =
        test::failureOf<IOException>([&kdc = kdc] { return exchange({kdc}, kAmpleMs); });
    EXPECT_TRUE(failure.starts_with(std::to_string(code) + " ")) << failure;
  }
}

TEST(KdcExchange, AReplyThatSettlesNothingIsBetterThanNone) {
  const ScriptedKdc only(sending(framed(bytes("busy"))));
  const KdcReplyCheck never = [](auto) { return false; };
  EXPECT_EQ(exchange({only.address(), test::closedAddress()}, kAmpleMs, never), bytes("busy"));
}

}  // namespace
}  // namespace tolk
