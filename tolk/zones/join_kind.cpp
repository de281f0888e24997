// The text is taken apart from its front: product, version, word.
#include "tolk/zones/join_kind.h"

#include <array>
#include <charconv>
#include <utility>

#include "tolk/base/text.h"
#include "tolk/zones/zone_layout.h"

namespace tolk {
namespace {

// Takes the number in front of `text` away with the dot behind it; -1 when there is none.
int takeNumber(std::string_view& text) noexcept {
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return -1;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (text.starts_with('.')) text.remove_prefix(1);
  return number;
}

bool recordsNoKind(std::string_view version) noexcept {
  constexpr std::pair kFirstThatDoes{4, 2};
  const int major = takeNumber(version);
  const int minor = takeNumber(version);
  return major >= 0 && std::pair(major, minor) < kFirstThatDoes;
}

}  // namespace

JoinKind joinKindOf(std::string_view agentText) noexcept {
  static constexpr std::array<std::pair<std::string_view, JoinKind>, 4> kKinds{{
      {kJoinedToZone, JoinKind::zone},
      {kJoinedToAutoZone, JoinKind::autoZone},
      {kJoinedBySprig, JoinKind::sprig},
      {kJoinedByOem, JoinKind::oem},
  }};
  if (!agentText.starts_with(kAgentPrefix)) return JoinKind::notRecorded;
  agentText.remove_prefix(kAgentPrefix.size());
  const std::size_t end = agentText.find(' ');
  if (recordsNoKind(agentText.substr(0, end))) return JoinKind::notRecorded;
  if (end == std::string_view::npos) return JoinKind::unknown;
  const std::string_view word = trim(agentText.substr(end));
  for (const auto& [text, kind] : kKinds) {
    if (word == text) return kind;
  }
  return JoinKind::unknown;
}

}  // namespace tolk
