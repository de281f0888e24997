#include "tolk/net/dns_question.h"

#include <arpa/nameser.h>
#include <gtest/gtest.h>

#include "tests/unit/tolk/net/dns_zone.h"
#include "tests/unit/tolk/net/sandbox.h"
#include "tolk/base/exceptions.h"
#include "tolk/net/dns_records.h"

namespace tolk {
namespace {

using std::chrono::milliseconds;

class DnsQuestions : public test::Sandbox {
 protected:
  void SetUp() override {
    Sandbox::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("/etc/resolv.conf", "nameserver 127.0.0.9\n");
    for (int i = 0; i < 40; ++i) {
      zone_.srv("many.test", 0, 0, 389, "dc" + std::to_string(i) + ".lab.test");
    }
    zone_.a("dc1.lab.test", "10.0.0.1");
    zone_.misbehave("refused.test", test::DnsZone::kRefused);
    zone_.misbehave("failing.test", test::DnsZone::kServFail);
    zone_.misbehave("silent.test", test::DnsZone::kSilent);
    zone_.serve(server_);
    // The same zone without TCP.
    server_.udp([this](const std::string& query) { return std::vector{zone_.reply(query, true)}; },
                "127.0.0.2", 53);
    server_.start();
  }

  /// The code, with what else there is to tell; or the code of the failure.
  static std::string ask(const std::string& server, const std::string& name,
                         Transport transport = Transport::udp) {
    EventLoop loop;
    try {
      const DnsReply reply =
          startDnsQuestion(
              loop, {.server = server, .name = name, .type = DnsType::srv, .transport = transport},
              milliseconds(300))
              .wait();
      return dnsCodeName(reply.code) + (reply.truncated ? " cut " : " ") +
             std::to_string(readServiceRecords(reply.message).size());
    } catch (const TimeoutException&) {
      return "silent";
    } catch (const IOException& e) {
      return std::to_string(e.code());
    }
  }

 private:
  test::DnsZone zone_;
  test::LoopbackServer server_;
};

TEST_F(DnsQuestions, TellWhatThisServerMadeOfThem) {
  EXPECT_EQ("NXDOMAIN 0", ask("127.0.0.1", "nobody.test"));
  EXPECT_EQ("NOERROR 0", ask("127.0.0.1", "dc1.lab.test"));
  EXPECT_EQ("REFUSED 0", ask("127.0.0.1", "refused.test"));
  EXPECT_EQ("SERVFAIL 0", ask("127.0.0.1", "failing.test"));
  EXPECT_EQ("silent", ask("127.0.0.1", "silent.test"));
  EXPECT_EQ(std::to_string(ECONNREFUSED), ask("127.0.0.3", "nobody.test"));
}

TEST_F(DnsQuestions, TellWhetherAnAnswerWasCut) {
  EXPECT_EQ("NOERROR cut 40", ask("127.0.0.1", "many.test"));
  EXPECT_EQ("NOERROR 40", ask("127.0.0.1", "many.test", Transport::tcp));
  EXPECT_EQ(std::to_string(kCutAnswer), ask("127.0.0.2", "many.test"));
  EXPECT_EQ(std::to_string(ECONNREFUSED), ask("127.0.0.2", "many.test", Transport::tcp));
}

}  // namespace
}  // namespace tolk
