// The methods of the daemon channel about the cloud platform.
#include "velkd/service_call.h"

namespace velkd {
namespace {

void needRoot(const Caller& caller, const char* what) {
  if (caller.privileged()) return;
  throw RpcError(tolk::daemon_error::kPermissionDenied, what);
}

}  // namespace

std::optional<std::string> Service::getCloudInstance(const Call& call) {
  needRoot(call.request.caller, "Only root may ask for the cloud platform.");
  cloud_.askInstance([this, later = Later(call)](const CloudInstance& instance) {
    answerLater(later, [&instance] {
      return Reply().add("code", json::Value(instance.code)).add("text", instance.text).text();
    });
  });
  return std::nullopt;
}

std::optional<std::string> Service::logPrivilegeEvent(const Call& call) {
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

}  // namespace velkd
