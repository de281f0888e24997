// The call for identifier ranges, and the C interface where it needs no daemon.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tests/unit/tolk/rpc/scripted_daemon.h"
#include "tolk/base/exceptions.h"
#include "tolk/rpc/local_rpc_session.h"
#include "tolk/rpc/orv_session.h"

namespace tolk {
namespace {

using namespace std::string_literals;
using Ranges = std::vector<std::pair<std::string, std::string>>;

const std::string kGathering =
    R"({"error":"org.orvald.velkd.StillGathering","parameters":{}})" + "\0"s;

TEST(DomainIdentifiers, StillGatheringLeavesTheSessionUsable) {
  const ScratchDirectory directory;
  test::ScriptedDaemon daemon(
      directory.path("velkd.sock"),
      {kGathering, R"({"parameters":{"ranges":[{"key":"LAB.TEST","value":"100-199"},)"
                   R"({"key":"A.LAB.TEST","value":""}]}})" +
                       "\0"s});
  LocalRpcSession session(directory.path());
  EXPECT_THAT([&] { (void)session.getDomainIdentifiers(); },
              testing::Throws<IPCException>(
                  testing::Property(&IPCException::code, IpcError::kStillGathering)));
  EXPECT_EQ(session.getDomainIdentifiers(), (Ranges{{"LAB.TEST", "100-199"}, {"A.LAB.TEST", ""}}));
  EXPECT_EQ(daemon.calls().back(),
            R"({"method":"org.orvald.velkd.GetDomainIdentifiers","parameters":{}})");
}

TEST(DomainIdentifiers, OtherShapesAreBadMessages) {
  for (const char* parameters :
       {"{}", R"({"ranges":5})", R"({"ranges":[5]})", R"({"ranges":[{"key":"A"}]})",
        R"({"ranges":[{"key":1,"value":""}]})"}) {
    SCOPED_TRACE(parameters);
    const ScratchDirectory directory;
    const test::ScriptedDaemon daemon(directory.path("velkd.sock"),
                                      {R"({"parameters":)" + std::string(parameters) + "}\0"s});
    LocalRpcSession session(directory.path());
    try {
      (void)session.getDomainIdentifiers();
      ADD_FAILURE() << "no failure";
    } catch (const IPCException& failure) {
      EXPECT_EQ(failure.code(), IpcError::kBadMessage);
    }
  }
}

TEST(OrvSession, RefusesBadArguments) {
  OrvSession* session = nullptr;
  OrvKeyValue* set = nullptr;
  EXPECT_EQ(orvSessionOpen(2, 21, &session), OrvCode::kBadArgument);
  EXPECT_EQ(orvSessionOpen(1, 21, nullptr), OrvCode::kBadArgument);
  EXPECT_EQ(orvGetDomainRids(nullptr, &set), OrvCode::kBadArgument);
  orvSessionClose(nullptr);
  orvFreeKeyValueSet(nullptr);
  EXPECT_STREQ(orvGetOrvCodeStr(OrvCode::kRefused), "The agent daemon answered with an error");
  EXPECT_STREQ(orvGetOrvCodeStr(-5), "Unknown failure");
}

}  // namespace
}  // namespace tolk
