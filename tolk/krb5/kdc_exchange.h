// One exchange with the key distribution centers of a realm, over TCP (RFC 4120, 7.2.2), under one
// limit.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <functional>
#include <span>
#include <vector>

namespace tolk {

using KdcAddresses = std::vector<sockaddr_in>;

/// Says whether a reply settles the exchange; one that does not is kept in case no other server has
/// a better one.
using KdcReplyCheck = std::function<bool(std::span<const char>)>;

/// Sends `message` to the first address and returns the reply. The next address is tried as soon as
/// one refuses, cuts the connection or answers with something that is no reply, and beside it once
/// a fifth of `limit` passed in silence; the first good reply wins. Throws TimeoutException when
/// `limit` ended the wait, IOException when no address is left.
std::vector<char> exchangeWithKdcs(const KdcAddresses& addresses, std::span<const char> message,
                                   std::chrono::milliseconds limit, const KdcReplyCheck& settles);

}  // namespace tolk
