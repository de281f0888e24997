// Connectionless LDAP (MS-ADTS 3.1.1.3.1.3.10): one search over UDP, as far as Active Directory
// controllers answer it.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tolk/net/event_loop.h"

namespace tolk {

/// One entry of an answer; names and values are byte strings as received.
struct CldapEntry {
  std::string dn;
  std::vector<std::pair<std::string, std::vector<std::string>>> attributes;
};

/// A search of the root DSE: base "" by default, scope base, all attributes when the list is empty.
/// The filter is (PRESENT=*) when `present` is set, else the AND of the equalities.
struct CldapRequest {
  std::string base;
  std::string present;
  std::vector<std::pair<std::string, std::string>> equalities;
  std::vector<std::string> attributes;
};

/// What one datagram holds: entries, and whether the search result message that ends them is among
/// it.
struct CldapAnswer {
  int messageId = 0;
  bool finished = false;
  int resultCode = 0;  ///< RFC 4511, 4.1.9; meaningful when finished
  std::vector<CldapEntry> entries;
};

/// The request as one LDAP message (RFC 4511, 4.5.1). Throws BadDataException when it cannot be
/// encoded.
std::string encodeCldapRequest(const CldapRequest& request, int messageId);

/// Reads the LDAP messages of one datagram; nothing when it is damaged or holds messages of several
/// ids or other operations.
std::optional<CldapAnswer> decodeCldapAnswer(std::string_view datagram);

/// Searches at `address` (port 0 means 389). The request is sent again each second; datagrams that
/// are no answer to it are ignored. The entries may be none: the server answers, but has nothing or
/// refuses. Throws TimeoutException after `limit` or without a way to the address, IOException with
/// errno when nobody listens there (ECONNREFUSED). What earlier questions have waited in vain for
/// this address counts (tolk/net/ldap_silence.h).
Pending<std::vector<CldapEntry>> startCldapSearch(EventLoop& loop, const sockaddr_in& address,
                                                  const CldapRequest& request,
                                                  std::chrono::milliseconds limit);

/// The same search on a TCP connection of its own, for where UDP does not get through; throws
/// BadDataException too, for an answer that is not LDAP.
Pending<std::vector<CldapEntry>> startStreamSearch(EventLoop& loop, const sockaddr_in& address,
                                                   const CldapRequest& request,
                                                   std::chrono::milliseconds limit);

}  // namespace tolk
