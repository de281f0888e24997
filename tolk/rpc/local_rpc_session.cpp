// A client's session with the agent daemon.
#include "tolk/rpc/local_rpc_session.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <cerrno>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/no_cache_mode.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/unanswered_calls.h"
#include "tolk/rpc/wire_object.h"

namespace tolk {
namespace {

[[noreturn]] void throwUnreachable(const std::string& path, int error) {
  throw IOException("Cannot reach velkd at " + path + ": " + std::generic_category().message(error),
                    error);
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throwUnreachable(path, ENAMETOOLONG);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

// A connected socket or errno. Non-blocking from the start: with a full queue of waiting clients
// connect(2) would wait without limit, so it says EAGAIN.
int tryConnect(const sockaddr_un& address, UniqueFd& socket) {
  socket.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket) return errno;
  const int rc = ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address),
                           static_cast<socklen_t>(sizeof address));
  return rc == 0 ? 0 : errno;
}

bool mayBeStarting(int error) {
  return error == ENOENT || error == ECONNREFUSED || error == EAGAIN || error == EINTR;
}

UniqueFd connectTo(const std::string& path, bool waitForDaemon, std::chrono::milliseconds limit) {
  constexpr int kPauseMs = 50;
  const sockaddr_un address = addressOf(path);
  const WireDeadline deadline = std::chrono::steady_clock::now() + limit;
  UniqueFd socket;
  for (;;) {
    const int error = tryConnect(address, socket);
    if (error == 0) return socket;
    const bool again = waitForDaemon && mayBeStarting(error);
    if (!again || std::chrono::steady_clock::now() >= deadline) throwUnreachable(path, error);
    (void)::poll(nullptr, 0, kPauseMs);
  }
}

// Whoever can place a socket where the daemon's should be must not be able to answer for it.
void checkPeer(int fd, const std::string& path) {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) throwUnreachable(path, errno);
  if (peer.uid != 0 && peer.uid != ::geteuid()) {
    throw IPCException("The process behind " + path + " runs as user " + std::to_string(peer.uid) +
                           ", not as root",
                       IpcError::kForeignDaemon);
  }
}

bool isErrorAnswer(const IPCException& e) {
  return e.code() == IpcError::kErrorAnswer || e.code() == IpcError::kStillGathering;
}

// Behind the error's name; the name where there is no message.
std::string messageOf(const IPCException& refusal) {
  const std::string text = refusal.what();
  const std::size_t end = text.find(": ");
  return end == std::string::npos ? text : text.substr(end + 2);
}

std::string describe(std::string_view method, const IPCException& e,
                     std::chrono::milliseconds limit) {
  std::string text = "velkd, " + std::string(method) + ": " + e.what();
  if (e.code() == IpcError::kTimeout) {
    const bool usual =
        limit == std::chrono::milliseconds(Props().getLimitMs(PN::VELKD_RPC_TIMEOUT));
    text += std::string(" (") + (usual ? std::string(PN::VELKD_RPC_TIMEOUT.key) + ", " : "") +
            std::to_string(limit.count()) + " ms)";
  }
  return text;
}

// The parameters of a call while they are put together.
struct Parameters {
  json::Document value{rapidjson::kObjectType};

  json::Allocator& memory() { return value.GetAllocator(); }
  void add(const char* name, json::Value member) {
    value.AddMember(rapidjson::StringRef(name), member, memory());
  }
  void add(const char* name, std::string_view text) { add(name, json::makeString(text, memory())); }
};

}  // namespace

LocalRpcSession::LocalRpcSession(const std::string& directory, bool waitForDaemon,
                                 bool authenticate)
    : path_(directory + "/" + std::string(kDaemonSocketName)),
      limit_(Props().getLimitMs(PN::VELKD_RPC_TIMEOUT)) {
  UniqueFd socket = connectTo(path_, waitForDaemon, limit_);
  checkPeer(socket.get(), path_);
  stream_ = std::make_unique<VarlinkStream>(std::move(socket));
  if (authenticate) authenticateProcess();
}

void LocalRpcSession::call(std::string_view method, const json::Value& parameters,
                           const std::function<void(const json::Value&)>& take) {
  try {
    if (const auto waited = waitedInVain(path_, method); waited.count() > 0) {
      stream_.reset();
      throw IPCException(describe(method,
                                  IPCException("Is not asked again, it has stayed silent before",
                                               IpcError::kTimeout),
                                  waited),
                         IpcError::kTimeout);
    }
    callWithin(limit_, method, parameters, take);
  } catch (const IPCException& e) {
    if (e.code() == IpcError::kTimeout) noteUnanswered(path_, method, limit_);
    throw;
  }
}

void LocalRpcSession::callWithin(std::chrono::milliseconds limit, std::string_view method,
                                 const json::Value& parameters,
                                 const std::function<void(const json::Value&)>& take) {
  try {
    refusal_.clear();
    if (!stream_) throw IPCException("The session was closed by a failure", IpcError::kFailed);
    const WireDeadline deadline = std::chrono::steady_clock::now() + limit;
    stream_->send(encodeCall(method, parameters), deadline);
    take(decodeReply(stream_->receive(deadline)));
  } catch (const IPCException& e) {
    // What comes later on this connection could be the answer to this call.
    if (!isErrorAnswer(e)) stream_.reset();
    if (isErrorAnswer(e)) refusal_ = messageOf(e);
    throw IPCException(describe(method, e, limit), e.code());
  } catch (const BadDataException& e) {
    stream_.reset();
    throw IPCException("velkd, " + std::string(method) + ": " + e.what(), IpcError::kBadMessage);
  }
}

void LocalRpcSession::authenticateProcess() {
  call(daemon_method::kAuthenticate, Parameters().value,
       [](const json::Value& reply) { (void)json::integerMember(reply, "uid"); });
}

boost::shared_ptr<ADObject> LocalRpcSession::ldapFetch(const std::string& server,
                                                       const std::string& dn,
                                                       const std::vector<std::string>& attributes,
                                                       bool fresh) {
  Parameters parameters;
  parameters.add("server", json::makeString(server, parameters.memory()));
  parameters.add("dn", json::makeString(dn, parameters.memory()));
  json::Value names(rapidjson::kArrayType);
  for (const std::string& name : attributes) {
    names.PushBack(json::makeString(name, parameters.memory()), parameters.memory());
  }
  parameters.add("attributes", std::move(names));
  parameters.add("fresh", json::Value(fresh || NoCacheMode::active()));

  boost::shared_ptr<ADObject> object;
  call(daemon_method::kFetchObject, parameters.value, [&object](const json::Value& reply) {
    const json::Value* found = json::findMember(reply, "object");
    if (found != nullptr) object = boost::make_shared<ADObject>(objectFromJson(*found));
    const json::Value* reason = json::findMember(reply, "reason");
    if (reason != nullptr && reason->IsString()) {
      noteTrouble("base.rpc", "velkd: " + printable(reason->GetString()));
    }
  });
  return object;
}

std::string LocalRpcSession::getCurrentDC() {
  std::string host;
  call(daemon_method::kGetCurrentDC, Parameters().value,
       [&host](const json::Value& reply) { host = json::stringMember(reply, "host"); });
  return host;
}

std::string LocalRpcSession::getVersion() {
  std::string version;
  call(daemon_method::kGetInfo, Parameters().value,
       [&version](const json::Value& reply) { version = json::stringMember(reply, "version"); });
  return version;
}

std::string LocalRpcSession::getSystemInfo(std::uint32_t modules) {
  Parameters parameters;
  parameters.add("modules", json::Value(modules));
  std::string text;
  call(daemon_method::kGetSystemInfo, parameters.value,
       [&text](const json::Value& reply) { text = json::stringMember(reply, "text"); });
  return text;
}

std::vector<std::pair<std::string, std::string>> LocalRpcSession::getDomainIdentifiers() {
  std::vector<std::pair<std::string, std::string>> ranges;
  call(daemon_method::kGetDomainIdentifiers, Parameters().value,
       [&ranges](const json::Value& reply) {
         const json::Value* list = json::findMember(reply, "ranges");
         if (list == nullptr || !list->IsArray()) throw BadDataException("ranges is no list");
         for (const json::Value& pair : list->GetArray()) {
           ranges.emplace_back(json::stringMember(pair, "key"), json::stringMember(pair, "value"));
         }
       });
  return ranges;
}

int LocalRpcSession::getORBInfo(std::string& text) {
  int code = 0;
  call(daemon_method::kGetCloudInstance, Parameters().value, [&](const json::Value& reply) {
    const std::int64_t number = json::integerMember(reply, "code");
    if (number < 0 || number > std::numeric_limits<int>::max()) {
      throw BadDataException("JSON member \"code\" is out of range");
    }
    text = json::stringMember(reply, "text");
    code = static_cast<int>(number);
  });
  return code;
}

MfaStep LocalRpcSession::mfaCall(std::string_view method, const json::Value& parameters) {
  MfaStep step;
  callWithin(mfaCallLimit(), method, parameters,
             [&step](const json::Value& reply) { step = mfaStepFromJson(reply); });
  return step;
}

MfaStep LocalRpcSession::startMfa(const std::string& user, const std::string& program,
                                  const std::string& command) {
  Parameters parameters;
  parameters.add("user", user);
  parameters.add("program", program);
  parameters.add("command", command);
  return mfaCall(daemon_method::kStartMfa, parameters.value);
}

MfaStep LocalRpcSession::advanceMfa(const std::string& session, const std::string& choice,
                                    const std::string& action, const Shredder& answer) {
  Parameters parameters;
  parameters.add("session", session);
  parameters.add("choice", choice);
  parameters.add("action", action);
  parameters.add("answer", answer.view());
  return mfaCall(daemon_method::kAdvanceMfa, parameters.value);
}

void LocalRpcSession::endMfa(const std::string& session) {
  Parameters parameters;
  parameters.add("session", session);
  call(daemon_method::kEndMfa, parameters.value, [](const json::Value&) {});
}

}  // namespace tolk
