// How a computer was joined, as its own object records it.
#pragma once

#include <string_view>

namespace tolk {

enum class JoinKind {
  zone,
  autoZone,
  sprig,
  oem,
  unknown,
  notRecorded,  ///< by an agent before 4.2, which does not say, or by no agent of ours
};

/// Reads the text of a computer object's operatingSystemServicePack, "Orvald 5.7.0 zone": the word
/// behind the version says how, for agents of version 4.2 and later. A version that is no number,
/// another word and no word at all are unknown.
[[nodiscard]] JoinKind joinKindOf(std::string_view agentText) noexcept;

}  // namespace tolk
