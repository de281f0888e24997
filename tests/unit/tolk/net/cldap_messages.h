// Connectionless LDAP answers and netlogon records for tests, encoded by hand, so that the code
// under test is not its own measure.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tolk::test {

/// One BER element (X.690).
std::string element(unsigned char tag, const std::string& content);

/// The message id of a request, as its whole element.
std::string messageIdOf(const std::string& request);

using Attributes = std::vector<std::pair<std::string, std::vector<std::string>>>;

/// A search result entry and a search result done, each as one LDAP message with that id element.
std::string entryMessage(const std::string& id, const std::string& dn,
                         const Attributes& attributes);
std::string doneMessage(const std::string& id, int code = 0);

/// What a netlogon record says.
struct NetlogonFields {
  std::uint16_t operation = 23;
  std::uint32_t flags = 0x13fd;
  std::string forest = "lab.test";
  std::string domain = "lab.test";
  std::string host = "dc1.lab.test";
  std::string dcSite = "Near";
  std::string clientSite = "Near";
};

/// NETLOGON_SAM_LOGON_RESPONSE_EX with uncompressed names.
std::string netlogonRecord(const NetlogonFields& fields);

/// Both messages that answer a netlogon ping.
std::string netlogonReply(const std::string& request, const NetlogonFields& fields);

}  // namespace tolk::test
