// The probe of the agent daemon.
#include "facts/agent_state.h"

#include <sys/types.h>

#include <boost/shared_ptr.hpp>
#include <exception>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/lock_file.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/ldap/ad_object.h"
#include "tolk/ldap/sid.h"
#include "tolk/rpc/daemon_protocol.h"
#include "tolk/rpc/local_rpc_session.h"
#include "tolk/zones/computer_object_helper.h"

namespace joinscope {
namespace {

constexpr char kLockPath[] = "/var/run/velkd.lock";

// The only trace of why a state is what it is.
void noteReason(const std::exception& reason) noexcept {
  try {
    tolk::noteTrouble("cli.joinscope", tolk::printable(reason.what()));
  } catch (const std::exception&) {
    return;  // the state stands without it
  }
}

tolk::SID recordedIdentifier(const tolk::JoinSettings& settings) {
  try {
    return tolk::SID(settings.load(tolk::SETTING_HOSTSID, false, true));
  } catch (const tolk::IOException& e) {
    // No word about the daemon: it may well be reached.
    throw tolk::TOLKException(e.what(), e.code());
  }
}

AgentState computerObjectState(tolk::LocalRpcSession& session, const tolk::JoinSettings& settings) {
  const tolk::SID sid = recordedIdentifier(settings);
  const boost::shared_ptr<tolk::ADObject> computer = session.ldapFetch("", sid.toDN(), {}, false);
  if (!computer || computer->empty()) return AgentState::objectDeleted;
  return tolk::ComputerObjectHelper::isDisabled(*computer) ? AgentState::objectDisabled
                                                           : AgentState::connected;
}

AgentState askDaemon(const tolk::JoinSettings& settings, const char* rpcDirectory) {
  tolk::LocalRpcSession session(rpcDirectory);
  session.authenticateProcess();
  try {
    return computerObjectState(session, settings);
  } catch (const tolk::IPCException& e) {
    noteReason(e);
    return AgentState::disconnected;
  }
}

// A daemon that starts takes its lock before it answers.
AgentState lockState(const char* lockPath) noexcept {
  pid_t holder = -1;
  const int fd = OrvLock(lockPath, &holder);
  OrvUnlock(fd);
  if (fd == -1 || holder == -1) return AgentState::lockUnexaminable;
  return holder != 0 ? AgentState::starting : AgentState::down;
}

}  // namespace

AgentState agentState() noexcept {
  return agentStateAt(tolk::JoinSettings(tolk::kStateDirectory), tolk::kDaemonDirectory, kLockPath);
}

AgentState agentStateAt(const tolk::JoinSettings& settings, const char* rpcDirectory,
                        const char* lockPath) noexcept {
  try {
    return askDaemon(settings, rpcDirectory);
  } catch (const tolk::IOException& e) {
    noteReason(e);
    return lockState(lockPath);
  } catch (const std::exception& e) {
    noteReason(e);
    return AgentState::unavailable;
  }
}

std::string readSystemInfo(std::uint32_t mask) {
  tolk::LocalRpcSession session;
  session.authenticateProcess();
  return session.getSystemInfo(mask);
}

std::string agentStateName(AgentState state) {
  switch (state) {
    case AgentState::connected:
      return "connected";
    case AgentState::starting:
      return "starting";
    case AgentState::down:
      return "down";
    case AgentState::disconnected:
    case AgentState::objectDeleted:
    case AgentState::objectDisabled:
      return "disconnected";
    case AgentState::unavailable:
    case AgentState::lockUnexaminable:
      break;
  }
  return "<unavailable>";
}

}  // namespace joinscope
