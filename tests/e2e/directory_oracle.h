// What other programs say of the lab: the report must agree with them.
#pragma once

#include <string>

#include "tests/support/lab.h"

namespace joinscope::test {

/// "Host Diagnostics" and "IP Diagnostics" of a host, by uname, os-release, getconf, hostname and
/// dig.
std::string expectedHostSections(const Host& host);

/// The section of one server's root DSE, by ldapsearch.
std::string expectedController(const Host& host, const std::string& hostAndPort);

/// The site listing, by ldapsearch with the machine's keytab.
std::string expectedSites(const Host& host);

/// The zone listing: what lab/data/zones.ldif holds, in the order in which ldapsearch finds it in
/// the global catalog.
std::string expectedZones(const Host& host);

/// "Computer Account Diagnostics" of the joined host as root, by ldapsearch.
std::string expectedComputerAccount(const Host& host);

/// The identifier ranges of the domain, by ldapsearch.
std::string expectedRanges(const Host& host);

/// The site that adcli finds for the host.
std::string siteByAdcli(const Host& host);

}  // namespace joinscope::test
