// NTLM logons with the agent library against a real controller, from the network of a lab host.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>

#include <system_error>
#include <thread>

#include "tests/support/lab.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/ntlm/ad_ntlm.h"
#include "tolk/ntlm/win_error.h"

namespace joinscope::test {
namespace {

// Takes the calling thread into the host's network and files.
void enterHost(pid_t init) {
  const std::string folder = "/proc/" + std::to_string(init) + "/ns/";
  const tolk::UniqueFd network(::open((folder + "net").c_str(), O_RDONLY | O_CLOEXEC));
  const tolk::UniqueFd files(::open((folder + "mnt").c_str(), O_RDONLY | O_CLOEXEC));
  // Entering a mount namespace wants a working directory of the thread's own.
  if (::unshare(CLONE_FS) != 0 || ::setns(network.get(), CLONE_NEWNET) != 0 ||
      ::setns(files.get(), CLONE_NEWNS) != 0) {
    throw std::system_error(errno, std::generic_category(), "entering the lab host");
  }
}

std::string logon(const std::string& user, const std::string& password, const std::string& server) {
  try {
    tolk::NtlmSSP client("", "", user, tolk::Shredder(password), 0xe008b297, 2, false);
    tolk::ADNTLM relay(user, "lab.test", server);
    relay.init(client.getMsgType1());
    client.setMsgType2(relay.getChallenge());
    std::string out;
    const int status = relay.authenticate(client.getMsgType3(), out);
    if (status == 0) relay.requireProof(client.sessionKey());
    return tolk::WinErrToString(status);
  } catch (const tolk::TOLKException& failure) {
    return failure.what();
  }
}

struct LogonCase {
  const char* description;
  const char* user;
  const char* password;
  const char* result;
  const char* server = "";
};

constexpr const char* kGood = "The operation completed successfully.";
constexpr const char* kBad = "The user name or password is incorrect.";

TEST(NtlmLogon, WhatTheControllerSaysOfEachAccount) {
  constexpr LogonCase kCases[] = {
      {"right", "alice", "Alice-Pass1", kGood},
      {"controller by name", "alice", "Alice-Pass1", kGood, "dc1.lab.test"},
      {"controller with a port", "alice", "Alice-Pass1", kGood, "dc1.lab.test:389"},
      {"controller by address", "alice", "Alice-Pass1", kGood, "10.99.0.10"},
      {"principal name", "alice@lab.test", "Alice-Pass1", kGood},
      {"with a domain", "LAB\\alice", "Alice-Pass1", kGood},
      {"not ASCII", "ünal.öz", "Gizli-Şifre9", kGood},
      {"not ASCII, in capitals", "ÜNAL.ÖZ", "Gizli-Şifre9", kGood},
      {"wrong password", "alice", "alice-pass1", kBad},
      {"empty password", "alice", "", kBad},
      {"unknown user", "nobody.here", "Alice-Pass1", kBad},
      {"disabled", "bob.disabled", "Bob-Pass1",
       "This user can't sign in because this account is currently disabled."},
      {"expired", "carol.expired", "Carol-Pass1", "The user's account has expired."},
      {"must change", "dave.mustchange", "Dave-Pass1",
       "The user's password must be changed before signing in."},
      {"no such server", "alice", "Alice-Pass1", "gone.lab.test: the name has no address",
       "gone.lab.test"},
      {"nobody listens", "alice", "Alice-Pass1",
       "host1.lab.test: SMB connect: 10.99.0.21:445: Connection refused", "host1.lab.test"},
  };
  const pid_t init = Lab().guest.initProcess();
  std::thread([&] {
    ASSERT_NO_THROW(enterHost(init));
    for (const LogonCase& row : kCases) {
      EXPECT_EQ(logon(row.user, row.password, row.server), row.result) << row.description;
    }
  }).join();
}

// Each signs in its own way, also where the policy is to sign nothing.
TEST(NtlmLogon, IsProvenInEveryDialectAndByEveryPolicy) {
  const Lab lab;
  const std::string file = "/etc/samba/smb.conf";
  const std::string reread = "smbcontrol smbd reload-config && smbcontrol smbd ping >/dev/null";
  for (const char* setting : {"server max protocol = SMB2_10", "server max protocol = SMB3_02",
                              "server max protocol = SMB3_11", "server signing = disabled",
                              "server signing = mandatory", "smb encrypt = required"}) {
    SCOPED_TRACE(setting);
    const HostChange policy(lab.dc,
                            "cp " + file + " /tmp/smb.conf && sed -i 's/^\\[global\\]/&\\n" +
                                setting + "/' " + file + " && " + reread,
                            "cp /tmp/smb.conf " + file + " && " + reread);
    std::thread([&] {
      ASSERT_NO_THROW(enterHost(lab.guest.initProcess()));
      EXPECT_EQ(logon("alice", "Alice-Pass1", ""), kGood);
      EXPECT_EQ(logon("alice", "alice-pass1", ""), kBad);
    }).join();
  }
}

}  // namespace
}  // namespace joinscope::test
