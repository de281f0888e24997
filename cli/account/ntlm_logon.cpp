// The controller is handed the client's messages, and has to prove that it knows the password.
#include "cli/account/ntlm_logon.h"

#include <string>

#include "cli/common/task_context.h"
#include "cli/common/user_credentials.h"
#include "tolk/base/exceptions.h"
#include "tolk/ntlm/ad_ntlm.h"
#include "tolk/ntlm/ntlm_ssp.h"

namespace joinscope {
namespace {

// MS-NLMP 2.2.2.5: UNICODE, OEM, REQUEST_TARGET, SIGN, LM_KEY, NTLM, OEM_DOMAIN_SUPPLIED,
// OEM_WORKSTATION_SUPPLIED, ALWAYS_SIGN, EXTENDED_SESSIONSECURITY, 128, KEY_EXCH, 56.
constexpr unsigned kNegotiateFlags = 0xe008b297;
constexpr unsigned kNtlmVersion = 2;

}  // namespace

int ntlmLogon(TaskContext& context, const char* server) {
  UserCredentials& record = *context.credentials;
  // Nobody's answer, such as that of a prompt at the end of its input; it would count as wrong.
  if (record.password.empty()) throw tolk::TOLKException("no password: an empty one is not sent");
  const std::string user = record.user == nullptr ? "" : record.user;
  tolk::NtlmSSP client("", "", user, record.password, kNegotiateFlags, kNtlmVersion, false);
  record.password.wipe();
  tolk::ADNTLM relay(user, context.domain, server == nullptr ? "" : server);
  relay.init(client.getMsgType1());
  client.setMsgType2(relay.getChallenge());
  std::string out;
  const int rc = relay.authenticate(client.getMsgType3(), out);
  if (rc == 0) relay.requireProof(client.sessionKey());
  relay.smbUser().disconnect();
  return rc;
}

}  // namespace joinscope
