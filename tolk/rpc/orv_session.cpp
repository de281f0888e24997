// The C interface over LocalRpcSession: exceptions become codes.
#include "tolk/rpc/orv_session.h"
#include "tolk/rpc/daemon_protocol.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/logger.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/rpc/local_rpc_session.h"

struct OrvSession {
  explicit OrvSession(tolk::LocalRpcSession opened) : rpc(std::move(opened)) {}

  tolk::LocalRpcSession rpc;
};

namespace {

constexpr int kInterfaceVersion = 1;

using KeyValueSet = std::unique_ptr<OrvKeyValue, tolk::Releaser<orvFreeKeyValueSet>>;

struct CodeText {
  int code;
  const char* text;
};

constexpr std::array kTexts{
    CodeText{OrvCode::kSuccess, "Success"},
    CodeText{OrvCode::kNoDaemon, "The agent daemon cannot be reached"},
    CodeText{OrvCode::kNoMemory, "Out of memory"},
    CodeText{OrvCode::kBadArgument, "Invalid argument"},
    CodeText{OrvCode::kBroken, "The conversation with the agent daemon broke off"},
    CodeText{OrvCode::kStillGathering, "The agent daemon is still gathering information"},
    CodeText{OrvCode::kRefused, "The agent daemon answered with an error"},
};

// What the daemon said to this thread's last call that it refused.
thread_local std::string lastRefusal;

int codeOf(const tolk::IPCException& failure) {
  if (failure.code() == tolk::IpcError::kStillGathering) return OrvCode::kStillGathering;
  if (failure.code() == tolk::IpcError::kErrorAnswer) return OrvCode::kRefused;
  return OrvCode::kBroken;
}

// A code does not carry the reason.
int noted(int code, const char* what) {
  tolk::noteTrouble("base.rpc", tolk::printable(what));
  return code;
}

// Runs `call` and turns what it throws into a code.
template <typename Call>
int coded(Call call) noexcept {
  try {
    try {
      call();
      return OrvCode::kSuccess;
    } catch (const tolk::IOException& failure) {
      return noted(OrvCode::kNoDaemon, failure.what());
    } catch (const tolk::IPCException& failure) {
      return noted(codeOf(failure), failure.what());
    } catch (const std::bad_alloc&) {
      return OrvCode::kNoMemory;
    } catch (const std::exception& failure) {
      return noted(OrvCode::kFailed, failure.what());
    }
  } catch (...) {  // the log itself failed
    return OrvCode::kFailed;
  }
}

std::vector<std::pair<std::string, std::string>> rangesOf(tolk::LocalRpcSession& rpc) {
  try {
    return rpc.getDomainIdentifiers();
  } catch (const tolk::IPCException&) {
    lastRefusal = rpc.refusal();
    throw;
  }
}

// A C string ends at the first NUL byte.
char* copyOf(const std::string& text) {
  char* copy = ::strdup(text.c_str());
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

}  // namespace

int orvSessionOpen(int version, int client, OrvSession** session) noexcept {
  if (session == nullptr) return OrvCode::kBadArgument;
  *session = nullptr;
  if (version != kInterfaceVersion) return OrvCode::kBadArgument;
  return coded([client, session] {
    tolk::Logger::GetThreadPrivateLogger("base.rpc")
        .log(tolk::LogLevel::debug, "session of client " + std::to_string(client));
    *session =
        std::make_unique<OrvSession>(tolk::LocalRpcSession(tolk::kDaemonDirectory, false, true))
            .release();
  });
}

int orvGetDomainRids(OrvSession* session, OrvKeyValue** set) noexcept {
  if (session == nullptr || set == nullptr) return OrvCode::kBadArgument;
  *set = nullptr;
  return coded([session, set] {
    const auto ranges = rangesOf(session->rpc);
    // Zeroed, so that the set ends well wherever a copy fails.
    KeyValueSet pairs(
        static_cast<OrvKeyValue*>(std::calloc(ranges.size() + 1, sizeof(OrvKeyValue))));
    if (!pairs) throw std::bad_alloc();
    for (std::size_t i = 0; i < ranges.size(); ++i) {
      pairs.get()[i].key = copyOf(ranges[i].first);
      pairs.get()[i].value = copyOf(ranges[i].second);
    }
    *set = pairs.release();
  });
}

void orvSessionClose(OrvSession* session) noexcept {
  delete session;
}

void orvFreeKeyValueSet(OrvKeyValue* set) noexcept {
  if (set == nullptr) return;
  for (const OrvKeyValue* pair = set; pair->key != nullptr; ++pair) {
    std::free(pair->key);
    std::free(pair->value);
  }
  std::free(set);
}

const char* orvGetOrvCodeStr(int code) noexcept {
  if (code == OrvCode::kRefused && !lastRefusal.empty()) return lastRefusal.c_str();
  for (const CodeText& row : kTexts) {
    if (row.code == code) return row.text;
  }
  return "Unknown failure";
}
