// Functional levels: names, and the mode behind level 0.
#include "cli/diag/functional_levels.h"

#include <algorithm>
#include <array>
#include <ostream>

#include "cli/account/binding.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "cli/diag/root_dse.h"
#include "facts/functional_levels.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

struct NamedLevel {
  int level;
  const char* text;
};

constexpr std::array kLevelTexts{
    NamedLevel{-1, "-1 = (DS_BEHAVIOR_WIN2000_MIXED)"},
    NamedLevel{0, "0 = (DS_BEHAVIOR_WIN2000)"},
    NamedLevel{1, "1 = (DS_BEHAVIOR_WIN2003_INTERIM)"},
    NamedLevel{2, "2 = (DS_BEHAVIOR_WIN2003)"},
    NamedLevel{3, "3 = (DS_BEHAVIOR_WIN2008)"},
    NamedLevel{4, "4 = (DS_BEHAVIOR_WIN2008_R2)"},
    NamedLevel{5, "5 = (DS_BEHAVIOR_WINSERVER_2012)"},
    NamedLevel{6, "6 = (DS_BEHAVIOR_WINSERVER_2012_R2)"},
    NamedLevel{7, "7 = (DS_BEHAVIOR_WINSERVER_2016)"},
};

constexpr std::array kControllerTypes{
    NamedLevel{0, "Windows 2000"},    NamedLevel{1, "Windows 2003 Interim"},
    NamedLevel{2, "Windows 2003"},    NamedLevel{3, "Windows 2008"},
    NamedLevel{4, "Windows 2008 R2"}, NamedLevel{5, "Windows 2012"},
    NamedLevel{6, "Windows 2012 R2"}, NamedLevel{7, "Windows 2016"},
};

template <std::size_t Size>
const char* find(const std::array<NamedLevel, Size>& table, int level) {
  const auto row = std::ranges::find(table, level, &NamedLevel::level);
  return row == table.end() ? nullptr : row->text;
}

/// Whether the domain is in mixed mode, asked of the Windows 2000 controller itself or of the run's
/// binding; empty when that fails.
std::optional<bool> askMode(TaskContext& context, const tolk::ADObject& rootDse, bool windows2000,
                            std::ostream& verbose) {
  const std::string server = rootDse.getString(tolk::AD_DNS_HOST_NAME, "");
  try {
    if (windows2000) {
      return readMixedMode(rootDse, server, [&verbose] {
        verbose << prefix(2) << "Retrieve DC config naming context\n" << std::flush;
      });
    }
    const auto binding = getBinding(context, server.c_str(), &verbose);
    if (binding) return binding->isMixedMode();
  } catch (const std::exception& e) {
    tellReadFailure(verbose, e);
  }
  return {};
}

}  // namespace

std::string levelText(int level) {
  const char* text = find(kLevelTexts, level);
  return text != nullptr ? text : std::to_string(level);
}

std::string functionalLevelText(const tolk::ADObject& rootDse, const char* name,
                                std::ostream* verbose) {
  const auto level = tellReading(readNumber(rootDse, name), name, sinkOf(verbose));
  return level ? levelText(*level) : std::string();
}

std::string controllerTypeText(const tolk::ADObject& rootDse) {
  constexpr const char* kUnknown = "Unknown DC Functional Level: ";
  const std::optional<int> level = levelOf(rootDse, kControllerLevel);
  if (!level) return kUnknown + tolk::printable(rootDse.getString(kControllerLevel, ""));
  const char* text = find(kControllerTypes, *level);
  return text != nullptr ? text : kUnknown + std::to_string(*level);
}

bool normalizeFunctionalLevels(TaskContext& context, tolk::ADObject& rootDse,
                               std::ostream* verbose) {
  const bool windows2000 = isWindows2000(rootDse);
  if (windows2000) fillInLevels(rootDse);
  if (levelOf(rootDse, kDomainLevel) == 0) {
    applyMixedMode(rootDse, askMode(context, rootDse, windows2000, sinkOf(verbose)));
  }
  return windows2000;
}

}  // namespace joinscope
