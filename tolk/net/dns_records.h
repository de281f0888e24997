// The records of a DNS answer, read record by record, so that one with an absurd name does not hide
// the others.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tolk/net/host_port.h"

namespace tolk {

/// The SRV (RFC 2782) records of a whole answer message, sorted as FindSrv says, or its PTR records
/// (RFC 1035, 3.3.12) in the order of the answer. Host names are in lower case without final dot;
/// bytes that are special in a name are written as \. or \DDD. Records of other types, the target
/// "." and damaged ones are skipped. Throws BadDataException when the message as a whole is no
/// answer, as do those below.
HostPortList readServiceRecords(std::string_view message);
HostPortList readPointerRecords(std::string_view message);

/// The addresses of A and AAAA records of such a message, as text, in the order of the answer.
std::vector<std::string> readAddressRecords(std::string_view message);

/// The name of the primary server that the SOA record (RFC 1035, 3.3.13) names, wherever it stands
/// in the message; "" without one.
std::string readAuthority(std::string_view message);

/// By priority, then weight (larger first), then host, then port.
void sortRecords(HostPortList& list);

}  // namespace tolk
