// What a server sends that is asked as a key distribution center, or for SMB: the frames around the
// messages. The first byte chooses who asks.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/loopback_answer.h"
#include "tolk/base/exceptions.h"
#include "tolk/krb5/kdc_exchange.h"
#include "tolk/net/probes.h"

namespace {

constexpr std::chrono::seconds kLimit{5};
constexpr std::size_t kFrameHead = 4;

void require(bool holds) {
  if (!holds) std::abort();
}

void exchange(const sockaddr_in& server, const std::string& sent) {
  try {
    const std::vector<char> reply = tolk::exchangeWithKdcs(
        {server}, std::string("request"), kLimit, [](std::span<const char>) { return true; });
    require(sent.compare(kFrameHead, reply.size(), reply.data(), reply.size()) == 0);
  } catch (const tolk::IOException&) {
  }
}

void probe(const sockaddr_in& server, const std::string& sent) {
  tolk::EventLoop loop;
  const bool kdc = tolk::startKdcProbe(loop, server, "LAB.TEST", kLimit).wait().result == 0;
  const bool smb = tolk::startSmbProbe(loop, server, kLimit).wait().result == 0;
  require(!(kdc && smb) && (!kdc || sent.size() > kFrameHead));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const server = new joinscope::fuzz::LoopbackAnswer;
  if (size == 0) return 0;
  const std::string answer(reinterpret_cast<const char*>(data) + 1, size - 1);
  server->set(answer);
  if (data[0] % 2 == 0)
    exchange(server->address(), answer);
  else
    probe(server->address(), answer);
  return 0;
}
