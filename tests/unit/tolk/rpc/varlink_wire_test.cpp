// Framing: messages in every cut, limits, and ends of the stream at the wrong moment.
#include "tolk/rpc/varlink_wire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>

#include "tolk/base/exceptions.h"

namespace tolk {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

WireDeadline in(std::chrono::milliseconds time) {
  return std::chrono::steady_clock::now() + time;
}

// Long enough never to be met by a program that works.
constexpr auto kAmple = 20000ms;

// The code of the IPCException that `work` throws, 0 when it throws none.
template <typename Work>
int errorOf(Work work) {
  try {
    work();
    return 0;
  } catch (const IPCException& e) {
    return e.code();
  }
}

class Wire : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    stream_.emplace(UniqueFd(ends[0]), kLimit);
    peer_.reset(ends[1]);
  }
  void peerSends(std::string_view bytes) const {
    ASSERT_EQ(::send(peer_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  static constexpr std::size_t kLimit = 100'000;
  std::optional<VarlinkStream> stream_;
  UniqueFd peer_;
};

TEST(MessageBuffer, FindsMessagesInEveryCut) {
  const std::string bytes = "one\0\0three\0four"s;
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    MessageBuffer buffer;
    std::vector<std::string> messages;
    for (const std::string& piece : {bytes.substr(0, cut), bytes.substr(cut)}) {
      buffer.append(piece);
      while (auto message = buffer.next()) messages.push_back(*message);
    }
    EXPECT_EQ(messages, std::vector<std::string>({"one", "", "three"})) << cut;
    EXPECT_FALSE(buffer.empty());
  }
}

TEST(MessageBuffer, LimitIsThatOfOneMessage) {
  MessageBuffer buffer(4);
  buffer.append("1234\0abcd\0"s);
  EXPECT_EQ(buffer.next(), "1234");
  EXPECT_EQ(buffer.next(), "abcd");
  buffer.append("1234");
  EXPECT_EQ(buffer.next(), std::nullopt);
  buffer.append("5");  // its NUL need not come
  EXPECT_EQ(errorOf([&] { (void)buffer.next(); }), IpcError::kTooLarge);
  MessageBuffer ended(4);
  ended.append("12345\0"s);
  EXPECT_EQ(errorOf([&] { (void)ended.next(); }), IpcError::kTooLarge);
}

TEST_F(Wire, MessagesGoBothWays) {
  peerSends("a\0b\0"s);
  EXPECT_EQ(stream_->receive(in(kAmple)), "a");
  EXPECT_EQ(stream_->receive(in(kAmple)), "b");
  stream_->send("hello", in(kAmple));
  char bytes[16];
  EXPECT_EQ(::recv(peer_.get(), bytes, sizeof bytes, 0), 6);
  EXPECT_STREQ(bytes, "hello");
}

TEST_F(Wire, EndOfStreamIsToldFromSilence) {
  EXPECT_EQ(errorOf([&] { (void)stream_->receive(in(20ms)); }), IpcError::kTimeout);
  peerSends("half");
  EXPECT_EQ(errorOf([&] { (void)stream_->receive(in(20ms)); }), IpcError::kTimeout);
  peer_.reset();
  EXPECT_EQ(errorOf([&] { (void)stream_->receive(in(kAmple)); }), IpcError::kEndOfStream);
  EXPECT_EQ(errorOf([&] { stream_->send("x", in(kAmple)); }), IpcError::kEndOfStream);
}

TEST_F(Wire, OversizeIsRefusedOnBothWays) {
  EXPECT_EQ(errorOf([&] { stream_->send(std::string(kLimit + 1, 'x'), in(kAmple)); }),
            IpcError::kTooLarge);
  EXPECT_EQ(errorOf([&] { stream_->send("a\0b"s, in(kAmple)); }), IpcError::kBadMessage);
  peerSends(std::string(kLimit + 1, 'x'));
  EXPECT_EQ(errorOf([&] { (void)stream_->receive(in(kAmple)); }), IpcError::kTooLarge);
}

TEST_F(Wire, PeerThatDoesNotReadEndsTheSendAtItsDeadline) {
  const std::string message(kLimit, 'x');
  EXPECT_EQ(errorOf([&] {
              for (;;) stream_->send(message, in(20ms));
            }),
            IpcError::kTimeout);
}

TEST_F(Wire, BytesThatKeepComingDoNotOutrunTheDeadline) {
  peerSends(std::string(kLimit, 'x') + '\0');  // more than one read takes
  EXPECT_EQ(errorOf([&] { (void)stream_->receive(in(-1ms)); }), IpcError::kTimeout);
  EXPECT_EQ(stream_->receive(in(kAmple)).size(), kLimit);
}

}  // namespace
}  // namespace tolk
