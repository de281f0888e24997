// The session against a small server on a real socket that answers well, badly, late or not at all.
#include "tolk/rpc/local_rpc_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <list>
#include <optional>
#include <thread>

#include "tests/unit/tolk/base/scratch_directory.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/wire_object.h"

namespace tolk {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::HasSubstr;

// A listening socket at `path`.
UniqueFd listenAt(const std::string& path, int backlog) {
  UniqueFd listener(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (::bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener.get(), backlog) != 0) {
    ADD_FAILURE() << "cannot listen at " << path << ": " << std::strerror(errno);
  }
  return listener;
}

// Serves one connection on a thread of its own: one reply a call, as raw bytes; then the connection
// stays open until the client closes it, or closes at once.
class Server {
 public:
  enum class AtEnd { waitForClient, close };
  using Answer = std::function<std::string(const std::string& call)>;

  Server(const std::string& directory, Answer answer, AtEnd atEnd = AtEnd::waitForClient)
      : listener_(listenAt(directory + "/velkd.sock", 5)),
        thread_([this, answer = std::move(answer), atEnd] { serve(answer, atEnd); }) {}
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server() {
    ::shutdown(listener_.get(), SHUT_RDWR);
    thread_.join();
  }

  std::vector<std::string> calls;  // to be read when the client is gone

 private:
  void serve(const Answer& answer, AtEnd atEnd) {
    UniqueFd client(::accept(listener_.get(), nullptr, nullptr));
    if (!client) return;
    VarlinkStream stream(std::move(client));
    try {
      for (;;) {
        calls.push_back(stream.receive(std::chrono::steady_clock::now() + 20s));
        sendRaw(stream.fd(), answer(calls.back()));
        if (atEnd == AtEnd::close) return;
      }
    } catch (const IPCException&) {
      return;  // the client has gone
    }
  }

  static void sendRaw(int fd, const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
      const ssize_t count = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
      if (count < 0 && errno != EAGAIN) return;
      if (count > 0) sent += static_cast<std::size_t>(count);
      if (count < 0) std::this_thread::yield();
    }
  }

  UniqueFd listener_;
  std::thread thread_;
};

// The exception that `work` throws, as "code text"; "" when it throws none.
template <typename Exception, typename Work>
std::string failureOf(Work work) {
  try {
    work();
    return "";
  } catch (const Exception& e) {
    return std::to_string(e.code()) + " " + e.what();
  }
}

class Session : public testing::Test {
 protected:
  void SetUp() override { Props().set(PN::VELKD_RPC_TIMEOUT, "20"); }

  ScratchDirectory directory_;
};

TEST_F(Session, CallsAndAnswers) {
  ADObject host("CN=host1,DC=example,DC=com");
  host["userAccountControl"] = 4096;
  host["objectGUID"] = "\xFF\xFE"s;
  Server server(directory_.path(), [&host](const std::string& call) -> std::string {
    json::Document reply(rapidjson::kObjectType);
    json::Allocator& memory = reply.GetAllocator();
    const std::string method = json::stringMember(json::parse(call), "method");
    if (method == daemon_method::kAuthenticate) reply.AddMember("uid", 0, memory);
    if (method == daemon_method::kGetCurrentDC) reply.AddMember("host", "dc1.example.com", memory);
    if (method == daemon_method::kGetSystemInfo) reply.AddMember("text", "a\nb", memory);
    const bool found = call.find("CN=host1") != std::string::npos;
    if (found) reply.AddMember("object", objectToJson(host, memory), memory);
    return encodeReply(reply) + '\0';
  });
  {
    LocalRpcSession session(directory_.path(), false, false);
    session.authenticateProcess();
    EXPECT_EQ(session.getCurrentDC(), "dc1.example.com");
    EXPECT_EQ(session.getSystemInfo(0xFFFFFFBF), "a\nb");
    const auto object = session.ldapFetch("dc1", "CN=host1", {"cn", "sn"}, true);
    ASSERT_TRUE(object);
    EXPECT_EQ(object->dn(), host.dn());
    EXPECT_EQ((*object)["USERACCOUNTCONTROL"].toInt(), 4096);
    EXPECT_EQ(object->getString("objectGUID", ""), "\xFF\xFE");
    EXPECT_FALSE(session.ldapFetch("", "CN=other", {}, false));
  }
  const std::vector<std::string> expected{
      R"({"method":"org.orvald.velkd.Authenticate","parameters":{}})",
      R"({"method":"org.orvald.velkd.GetCurrentDC","parameters":{}})",
      R"({"method":"org.orvald.velkd.GetSystemInfo","parameters":{"modules":4294967231}})",
      R"({"method":"org.orvald.velkd.FetchObject","parameters":)"
      R"({"server":"dc1","dn":"CN=host1","attributes":["cn","sn"],"fresh":true}})",
      R"({"method":"org.orvald.velkd.FetchObject","parameters":)"
      R"({"server":"","dn":"CN=other","attributes":[],"fresh":false}})",
  };
  EXPECT_EQ(server.calls, expected);
}

struct BadAnswer {
  const char* about;
  std::string bytes;
  int code;
  std::string text;
};

TEST_F(Session, BadAnswersAreToldApart) {
  const BadAnswer rows[] = {
      {"error with a message",
       R"({"error":"org.orvald.velkd.NotJoined","parameters":{"message":"x)"
       "\\u001b"
       R"(y"}})" +
           "\0"s,
       IpcError::kErrorAnswer,
       "velkd, org.orvald.velkd.GetCurrentDC: org.orvald.velkd.NotJoined: x\\x1By"},
      {"error alone", R"({"error":"org.varlink.service.MethodNotFound"})" + "\0"s,
       IpcError::kErrorAnswer, "org.varlink.service.MethodNotFound"},
      {"half an answer", R"({"parameters":{"host")", IpcError::kEndOfStream, "in mid-message"},
      {"nothing", "", IpcError::kEndOfStream, "closed the connection"},
      {"junk", "HTTP/1.1 400 Bad Request\r\n\0"s, IpcError::kBadMessage, "Bad JSON at byte 0"},
      {"empty message", "\0"s, IpcError::kBadMessage, "Bad JSON at byte 0"},
      {"no object", "[]\0"s, IpcError::kBadMessage, "no JSON object"},
      {"parameters no object", R"({"parameters":[]})" + "\0"s, IpcError::kBadMessage,
       "parameters are no object"},
      {"missing member", R"({"parameters":{}})" + "\0"s, IpcError::kBadMessage,
       "\"host\" is missing"},
      {"no parameters", "{}\0"s, IpcError::kBadMessage, "\"host\" is missing"},
      {"wrong type", R"({"parameters":{"host":7}})" + "\0"s, IpcError::kBadMessage, "is no string"},
      {"error no text", R"({"error":{}})" + "\0"s, IpcError::kBadMessage, "error is no name"},
      {"deep", std::string(3'000'000, '[') + '\0', IpcError::kBadMessage, "Nested more than 32"},
      {"oversize", std::string(kMaxMessageBytes + 1, ' '), IpcError::kTooLarge, "16777216 bytes"},
  };
  for (const BadAnswer& row : rows) {
    SCOPED_TRACE(row.about);
    const ScratchDirectory directory;
    const Server server(
        directory.path(), [&row](const std::string&) { return row.bytes; }, Server::AtEnd::close);
    LocalRpcSession session(directory.path(), false, false);
    const std::string failure = failureOf<IPCException>([&] { (void)session.getCurrentDC(); });
    EXPECT_THAT(failure, HasSubstr(std::to_string(row.code) + " velkd, "));
    EXPECT_THAT(failure, HasSubstr(row.text));
  }
}

TEST_F(Session, SilenceEndsAtTheConfiguredLimitAndTheSessionWithIt) {
  Props().set(PN::VELKD_RPC_TIMEOUT, "0.1");
  const Server server(directory_.path(), [](const std::string&) { return ""; });
  LocalRpcSession session(directory_.path(), false, false);
  EXPECT_THAT(failureOf<IPCException>([&] { (void)session.getCurrentDC(); }),
              testing::AllOf(testing::StartsWith(std::to_string(IpcError::kTimeout)),
                             HasSubstr("(velkd.rpc.timeout, 100 ms)")));
  EXPECT_THAT(failureOf<IPCException>([&] { (void)session.getCurrentDC(); }),
              HasSubstr("closed by a failure"));
}

TEST_F(Session, GoesOnAfterAnErrorAnswer) {
  int count = 0;
  const Server server(directory_.path(), [&count](const std::string&) {
    return (++count == 1 ? R"({"error":"org.orvald.velkd.NotJoined"})"
                         : R"({"parameters":{"host":""}})") +
           "\0"s;
  });
  LocalRpcSession session(directory_.path(), false, false);
  EXPECT_THROW((void)session.getCurrentDC(), IPCException);
  EXPECT_EQ(session.getCurrentDC(), "");
}

TEST_F(Session, ADaemonThatCannotBeReachedIsAnIoException) {
  const auto failure = [](const std::string& directory) {
    return failureOf<IOException>([&] { const LocalRpcSession session(directory, false, false); });
  };
  const std::string path = directory_.path("velkd.sock");
  EXPECT_THAT(failure(directory_.path()),
              HasSubstr(std::to_string(ENOENT) + " Cannot reach velkd at " + path));
  EXPECT_THAT(failure("/" + std::string(200, 'x')), HasSubstr(std::to_string(ENAMETOOLONG) + " "));
  directory_.write("velkd.sock", "no socket");
  EXPECT_THAT(failure(directory_.path()), HasSubstr(std::to_string(ECONNREFUSED) + " "));
  ::unlink(path.c_str());
  listenAt(path, 1).reset();  // what a daemon that died leaves
  EXPECT_THAT(failure(directory_.path()), HasSubstr(std::to_string(ECONNREFUSED) + " "));
}

TEST_F(Session, AFullQueueOfWaitingClientsDoesNotBlock) {
  const UniqueFd listener = listenAt(directory_.path("velkd.sock"), 0);
  std::list<LocalRpcSession> waiting;
  const std::string failure = failureOf<IOException>([&] {
    for (int i = 0; i < 10; ++i) waiting.emplace_back(directory_.path(), false, false);
  });
  EXPECT_THAT(failure, HasSubstr(std::to_string(EAGAIN) + " "));
}

TEST_F(Session, WaitsForADaemonThatIsStarting) {
  std::optional<Server> server;
  std::thread starting([&] {
    server.emplace(directory_.path(),
                   [](const std::string&) { return R"({"parameters":{"uid":0}})" + "\0"s; });
  });
  EXPECT_NO_THROW(LocalRpcSession(directory_.path(), true, true));
  starting.join();
}

TEST_F(Session, AnotherUsersProcessIsNoDaemon) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(::chmod(directory_.path().c_str(), 0777), 0);
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t impostor = ::fork();
  if (impostor == 0) {
    if (::setresuid(kNobody, kNobody, kNobody) != 0) ::_exit(1);
    const UniqueFd listener = listenAt(directory_.path("velkd.sock"), 5);
    (void)!::write(ready[1], "x", 1);
    for (;;) ::pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  EXPECT_THAT(failureOf<IPCException>([&] { LocalRpcSession(directory_.path(), false, false); }),
              testing::AllOf(HasSubstr(std::to_string(IpcError::kForeignDaemon) + " "),
                             HasSubstr("user 65534")));
  ::kill(impostor, SIGKILL);
  ::waitpid(impostor, nullptr, 0);
}

}  // namespace
}  // namespace tolk
