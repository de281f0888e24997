// What the daemon's interface looks like, in the language of Varlink
// (https://varlink.org/Interface-Definition). docs/daemon-protocol.md holds the same text.
#pragma once

#include <string_view>

namespace velkd {

inline constexpr std::string_view kInterfaceName = "org.orvald.velkd";
inline constexpr std::string_view kServiceInterfaceName = "org.varlink.service";

extern const std::string_view kInterfaceText;
extern const std::string_view kServiceInterfaceText;

}  // namespace velkd
