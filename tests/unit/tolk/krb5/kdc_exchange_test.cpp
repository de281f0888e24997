#include "tolk/krb5/kdc_exchange.h"

#include <gtest/gtest.h>

#include <future>

#include "scripted_kdc.h"
#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using test::Bytes;
using test::framed;
using test::ScriptedKdc;

constexpr std::chrono::milliseconds kLimit{20000};
const KdcReplyCheck kAny = [](auto) { return true; };

Bytes bytes(const char* text) {
  return {text, text + std::char_traits<char>::length(text)};
}

std::optional<Bytes> good(const Bytes&) {
  return framed(bytes("good"));
}
std::optional<Bytes> busy(const Bytes&) {
  return framed(bytes("busy"));
}
std::optional<Bytes> cut(const Bytes&) {
  return Bytes();
}
std::optional<Bytes> cutWithin(const Bytes&) {
  Bytes reply = framed(bytes("good"));
  reply.pop_back();
  return reply;
}
std::optional<Bytes> empty(const Bytes&) {
  return framed({});
}
std::optional<Bytes> huge(const Bytes&) {
  return bytes("\x7f\xff\xff\xff.....");
}
std::optional<Bytes> silence(const Bytes&) {
  return std::nullopt;
}

TEST(KdcExchange, SendsTheMessageAndReturnsTheReply) {
  Bytes seen;
  const ScriptedKdc kdc([&seen](const Bytes& request) {
    seen = request;
    return good(request);
  });
  const Bytes message = bytes("a request");
  EXPECT_EQ(exchangeWithKdcs({kdc.address()}, message, kLimit, kAny), bytes("good"));
  EXPECT_EQ(seen, message);
}

TEST(KdcExchange, AUselessFirstServerIsNotTheEnd) {
  struct Row {
    const char* what;
    test::KdcScript first;
  };
  const Row rows[] = {{"cuts the connection", cut},
                      {"cuts it within the reply", cutWithin},
                      {"says its reply is empty", empty},
                      {"announces 2 GiB", huge},
                      {"is silent", silence},
                      {"has a reply that settles nothing", busy}};
  const KdcReplyCheck notBusy = [](auto reply) { return reply[0] != 'b'; };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    const ScriptedKdc first(row.first);
    const ScriptedKdc second(good);
    EXPECT_EQ(exchangeWithKdcs({first.address(), second.address()}, bytes("request"),
                               std::chrono::milliseconds(2000), notBusy),
              bytes("good"));
  }
  const ScriptedKdc second(good);
  EXPECT_EQ(
      exchangeWithKdcs({test::refusedAddress(), second.address()}, bytes("request"), kLimit, kAny),
      bytes("good"));
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
  EXPECT_EQ(exchangeWithKdcs({first.address(), second.address()}, bytes("request"),
                             std::chrono::milliseconds(2000), kAny),
            bytes("good"));
}

TEST(KdcExchange, FailuresSayWhatEndedTheWait) {
  const ScriptedKdc mute(silence);
  EXPECT_THROW(exchangeWithKdcs({mute.address(), test::refusedAddress()}, bytes("request"),
                                std::chrono::milliseconds(200), kAny),
               TimeoutException);
  try {
    exchangeWithKdcs({test::refusedAddress()}, bytes("request"), kLimit, kAny);
    FAIL() << "a refused connection gave a reply";
  } catch (const IOException& failure) {
    EXPECT_EQ(failure.code(), ECONNREFUSED);
  }
}

TEST(KdcExchange, AReplyThatSettlesNothingIsBetterThanNone) {
  const ScriptedKdc only(busy);
  const KdcReplyCheck never = [](auto) { return false; };
  EXPECT_EQ(
      exchangeWithKdcs({only.address(), test::refusedAddress()}, bytes("request"), kLimit, never),
      bytes("busy"));
}

}  // namespace
}  // namespace tolk
