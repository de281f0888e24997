// Service records (RFC 2782) as the reports look them up and show them.
#pragma once

#include <iosfwd>
#include <string>

#include "tolk/net/host_port.h"

namespace joinscope {

/// Announces the lookup of `name` on standard output and appends its records to `out`. With
/// `dnsOnly` only DNS is asked; otherwise the controllers of orvald.conf stand in when DNS has
/// none. Returns 1 when the records came from DNS, 0 when not, -1 after a failure, which is
/// reported on standard error and never thrown. `verbose` is not used.
int querySrvRecords(const std::string& name, tolk::HostPortList& out, std::ostream* verbose,
                    bool dnsOnly);

/// Writes the records in list order; nothing when `stream` is null.
void printSrvRecords(std::ostream* stream, const tolk::HostPortList& list);

/// Writes what an administrator can do about a domain without controller records.
void printSrvAdvice(std::ostream& stream, const std::string& domain);

/// "host:port", or the host alone when no port is known.
std::string hostAndPort(const tolk::HostPort& entry);

}  // namespace joinscope
