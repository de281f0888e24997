// What the daemon's interface looks like.
#include "velkd/interface_text.h"

namespace velkd {

constexpr std::string_view kInterfaceText = R"(interface org.orvald.velkd

# A value of an attribute: "text" when its bytes are UTF-8, else "base64" (RFC 4648, section 4, with padding).
# Exactly one of the two is there.
type Value (text: ?string, base64: ?string)

# An attribute with its values in the order of the directory.
type Attribute (name: string, values: []Value)

# A directory object. Each attribute is there once; names compare without case.
type Object (dn: string, attributes: []Attribute)

# The identifiers that a domain of the forest has not given away yet, as "FIRST-LAST", or "none left".
# key is the domain's DNS name in upper case.
type Range (key: string, value: string)

# One value of a privilege event.
type Field (key: string, value: string)

# One way for a user to answer a challenge: what to show for it in a list, what to ask once it is chosen, whether the
# platform is to be told first (StartOOB) and then waits for the user, and whether the user can answer by text.
type Choice (id: string, name: string, text: string, prompt: string, outOfBand: bool, takesText: bool)

# Says as whom the daemon knows the caller.
method Authenticate() -> (uid: int, privileged: bool)

# Reads one directory object. An empty server leaves the choice of the domain controller to the daemon. No attributes
# means all. Unless fresh is set the answer may come from the daemon's cache. There is no object in the answer when
# there is none in the directory; reason then says what is known about that, for people. dn may be a name or
# "<SID=...>" (MS-ADTS 3.1.1.3.1.2.4).
method FetchObject(server: string, dn: string, attributes: []string, fresh: bool) -> (object: ?Object, reason: ?string)

# Names the domain controller that the daemon works with; empty when it has none.
method GetCurrentDC() -> (host: string)

# Describes the daemon's modules for people. modules is a set of bits, 0 to 4294967295:
# 0x1 dns, 0x2 domain, 0x4 netstate, 0x8 adagent, 0x10 config, 0x80 pmon, 0x100 pmon_enable, 0x200 pmon_disable,
# 0x400 zone, 0x800 health, 0x1000 orb. For adagent and health it looks at this host's object first.
method GetSystemInfo(modules: int) -> (text: string)

# The identifier ranges of the forest's domains, which the daemon gathers in the background. For root.
# That of a domain which cannot be reached is "<unavailable>". StillGathering while they are on their way, DirectoryFailed
# while nothing comes because there is no connection to the domain.
method GetDomainIdentifiers() -> (ranges: []Range)

# The cloud platform that this host uses; for root. code: 0 none is configured, 1 connected, 2 connected through a web
# proxy, 3 not connected. text is the platform's address and the proxy; empty with code 0.
method GetCloudInstance() -> (code: int, text: string)

# Queues a privilege event for the cloud platform, its names and values in their order. For root.
method LogPrivilegeEvent(fields: []Field) -> ()

# Begins a multi-factor authentication of a user for a program, and for the privileged command unless that is empty.
# For root. summary: 0 failed, 1 authenticated, 2 the user is to answer one of the choices of a challenge, 3 ask again
# (Poll), 4 the same as 2 with other challenges than announced. The session is empty with 0 and 1.
method StartMfa(user: string, program: string, command: string) ->
  (session: string, summary: int, challenge: string, choices: []Choice)

# One step with a choice. action: Answer, with the answer; StartOOB; Poll.
method AdvanceMfa(session: string, choice: string, action: string, answer: string) ->
  (session: string, summary: int, challenge: string, choices: []Choice)

# Gives an authentication up. One that nobody goes on with ends by itself after some minutes.
method EndMfa(session: string) -> ()

# The caller may not ask for this: another object than this host's own without being root, for one.
error PermissionDenied (message: string)
# This host is in no domain.
error NotJoined (message: string)
# The directory could not be asked, or answered with a failure.
error DirectoryFailed (message: string)
# The cloud platform could not be asked, or refused.
error CloudFailed (message: string)
# The identifier ranges are not known yet.
error StillGathering (message: string)
)";

// https://varlink.org/Service
constexpr std::string_view kServiceInterfaceText = R"(interface org.varlink.service

method GetInfo() -> (
  vendor: string,
  product: string,
  version: string,
  url: string,
  interfaces: []string
)

method GetInterfaceDescription(interface: string) -> (description: string)

error InterfaceNotFound (interface: string)
error MethodNotFound (method: string)
error MethodNotImplemented (method: string)
error InvalidParameter (parameter: string)
error PermissionDenied ()
error ExpectedMore ()
)";

}  // namespace velkd
