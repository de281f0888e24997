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
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

constexpr const char* kDomainLevel = "domainFunctionality";
constexpr const char* kForestLevel = "forestFunctionality";
constexpr const char* kControllerLevel = "domainControllerFunctionality";

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

bool isWindows2000(const tolk::ADObject& rootDse) {
  return std::ranges::none_of(
      std::array{kDomainLevel, kForestLevel, kControllerLevel},
      [&](const char* name) { return rootDse.attributeExists(name, true); });
}

/// The mode as the domain object tells an anonymous reader, which Windows 2000 allows.
bool askWindows2000(const tolk::ADObject& rootDse, const std::string& server,
                    std::ostream& verbose) {
  tolk::LDAPBinding binding;
  binding.connectToServer(server + ":389");
  verbose << prefix(2) << "Retrieve DC config naming context\n" << std::flush;
  const std::string domain = rootDse.getString(tolk::AD_DEFAULT_NAMING_CTX, "");
  const tolk::ADObject object = binding.fetch(domain, nullptr, tolk::AD_ALL_OBJECTS, false);
  return object.getInt(tolk::AD_MIXED_DOMAIN, 0) != 0;
}

/// Whether the domain is in mixed mode, asked of the Windows 2000 controller itself or of the run's
/// binding; empty when that fails.
std::optional<bool> askMode(TaskContext& context, const tolk::ADObject& rootDse, bool windows2000,
                            std::ostream& verbose) {
  const std::string server = rootDse.getString(tolk::AD_DNS_HOST_NAME, "");
  try {
    if (windows2000) return askWindows2000(rootDse, server, verbose);
    const auto binding = getBinding(context, server.c_str(), &verbose);
    if (binding) return binding->isMixedMode();
  } catch (const tolk::LDAPException& e) {
    verbose << prefix(2) << "LDAP: " << tolk::printable(e.what()) << '\n';
  } catch (const std::exception& e) {
    verbose << prefix(2) << "Exception: " << tolk::printable(e.what()) << '\n';
  }
  return {};
}

/// The first value as a number, 0 when there is none; empty when it is no number.
std::optional<int> readLevel(const tolk::ADObject& rootDse, const char* name) {
  try {
    return rootDse.getInt(name, 0);
  } catch (const tolk::SystemException&) {
    return {};
  }
}

}  // namespace

std::string levelText(int level) {
  const char* text = find(kLevelTexts, level);
  return text != nullptr ? text : std::to_string(level);
}

std::string functionalLevelText(const tolk::ADObject& rootDse, const char* name,
                                std::ostream* verbose) {
  return readAs(rootDse, name, sinkOf(verbose),
                [](const tolk::ADAttribute& value) { return levelText(value.toInt()); });
}

std::string controllerTypeText(const tolk::ADObject& rootDse) {
  constexpr const char* kUnknown = "Unknown DC Functional Level: ";
  const std::optional<int> level = readLevel(rootDse, kControllerLevel);
  if (!level) return kUnknown + tolk::printable(rootDse.getString(kControllerLevel, ""));
  const char* text = find(kControllerTypes, *level);
  return text != nullptr ? text : kUnknown + std::to_string(*level);
}

bool normalizeFunctionalLevels(TaskContext& context, tolk::ADObject& rootDse,
                               std::ostream* verbose) {
  const bool windows2000 = isWindows2000(rootDse);
  if (windows2000) {
    for (const char* name : {kDomainLevel, kForestLevel, kControllerLevel}) rootDse[name] = 0;
  }
  if (readLevel(rootDse, kDomainLevel) == 0) {
    applyMixedMode(rootDse, askMode(context, rootDse, windows2000, sinkOf(verbose)));
  }
  return windows2000;
}

void applyMixedMode(tolk::ADObject& rootDse, std::optional<bool> mixed) {
  if (!mixed) {
    rootDse.erase(kDomainLevel);
  } else if (*mixed) {
    rootDse[kDomainLevel] = -1;
  }
}

}  // namespace joinscope
