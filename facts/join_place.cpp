// Nothing but the host's own settings.
#include "facts/join_place.h"

#include <exception>

#include "tolk/base/exceptions.h"
#include "tolk/base/join_settings.h"
#include "tolk/base/text.h"
#include "tolk/base/troubles.h"
#include "tolk/net/interfaces.h"

namespace joinscope {
namespace {

// What a report shows as not available has no other place for its reason.
void note(const std::exception& reason) {
  tolk::noteTrouble("cli.joinscope", tolk::printable(reason.what()));
}

}  // namespace

std::optional<std::string> joinSetting(std::string_view key) {
  try {
    return tolk::loadSetting(key, false, true);
  } catch (const tolk::NotFoundException&) {
    return {};
  } catch (const std::exception& e) {
    note(e);
    return {};
  }
}

JoinFacts readJoinFacts(const std::string& domain) {
  return {.localHostName = tolk::shortLocalHostName(),
          .domain = domain,
          .joinedAs = joinSetting(tolk::SETTING_HOST_NAME),
          .preWin2kName = joinSetting(tolk::SETTING_PREW2K_HOST_NAME)};
}

}  // namespace joinscope
