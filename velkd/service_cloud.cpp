// The methods of the daemon channel about the cloud platform.
#include "tolk/base/exceptions.h"
#include "tolk/rpc/mfa_step.h"
#include "velkd/mfa_sessions.h"
#include "velkd/service_call.h"

namespace velkd {
namespace {

void needRoot(const Caller& caller, const char* what) {
  if (caller.privileged()) return;
  throw RpcError(tolk::daemon_error::kPermissionDenied, what);
}

std::string replyOf(const tolk::MfaStep& step) {
  return tolk::encodeReply(tolk::mfaStepToJson(step));
}

/// The answer of one step of an authentication, unless its caller has given up.
std::string runStep(const std::function<std::string(MfaSessions&)>& step, MfaSessions& sessions,
                    Clock::time_point started) {
  try {
    if (Clock::now() - started >= tolk::mfaCallLimit()) {
      throw RpcError(tolk::daemon_error::kCloudFailed, "The call has waited too long.");
    }
    return step(sessions);
  } catch (const tolk::Base_Exception& e) {
    throw RpcError(tolk::daemon_error::kCloudFailed, e.what());
  }
}

}  // namespace

Outcome Service::getCloudInstance(const Call& call) {
  needRoot(call.request.caller, "Only root may ask for the cloud platform.");
  cloud_.askInstance([this, later = Later(call)](const CloudInstance& instance) {
    answerLater(later, [&instance] {
      return Reply().add("code", json::Value(instance.code)).add("text", instance.text).text();
    });
  });
  return Outcome(Patience{});
}

Outcome Service::logPrivilegeEvent(const Call& call) {
  needRoot(call.request.caller, "Only root may raise a privilege event.");
  const json::Value& fields = needed(call.parameters(), "fields");
  if (!fields.IsArray()) throwInvalid("fields");
  PrivilegeEvent event;
  for (const json::Value& field : fields.GetArray()) {
    event.emplace_back(cText(field, "key"), cText(field, "value"));
  }
  if (!cloud_.logEvent(std::move(event))) {
    throw RpcError(tolk::daemon_error::kCloudFailed,
                   "Privilege events are not posted: velkd.cloud.log.privevent is not set.");
  }
  return Reply().text();
}

Outcome Service::startMfa(const Call& call) {
  needRoot(call.request.caller, "Only root may have a user authenticated.");
  const json::Value& parameters = call.parameters();
  tolk::MfaRequest request{.user = cText(parameters, "user"),
                           .program = cText(parameters, "program"),
                           .command = cText(parameters, "command")};
  if (request.user.empty()) throwInvalid("user");
  return authenticate(call, [request = std::move(request)](MfaSessions& sessions) {
    return replyOf(sessions.start(request));
  });
}

Outcome Service::advanceMfa(const Call& call) {
  needRoot(call.request.caller, "Only root may have a user authenticated.");
  const json::Value& parameters = call.parameters();
  const std::string action = cText(parameters, "action");
  if (action != tolk::JSON_VAL_ACTION_ANSWER && action != tolk::JSON_VAL_ACTION_STARTOOB &&
      action != tolk::JSON_VAL_ACTION_POLL) {
    throwInvalid("action");
  }
  tolk::Shredder answer(cView(parameters, "answer"));
  return authenticate(
      call, [session = cText(parameters, "session"), choice = cText(parameters, "choice"), action,
             answer = std::move(answer)](MfaSessions& sessions) {
        return replyOf(sessions.advance(session, choice, action, answer));
      });
}

Outcome Service::endMfa(const Call& call) {
  needRoot(call.request.caller, "Only root may have a user authenticated.");
  return authenticate(call, [session = cText(call.parameters(), "session")](MfaSessions& sessions) {
    sessions.end(session);
    return Reply().text();
  });
}

Outcome Service::authenticate(const Call& call, std::function<std::string(MfaSessions&)> step) {
  const auto work = [this, later = Later(call), step = std::move(step)](MfaSessions& sessions) {
    answerLater(later, [&] { return runStep(step, sessions, later.started); });
  };
  if (!cloud_.authenticate(work)) {
    throw RpcError(tolk::daemon_error::kCloudFailed, "Too many calls are waiting.");
  }
  return Outcome(Patience{});
}

}  // namespace velkd
