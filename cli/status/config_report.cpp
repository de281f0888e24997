// The configuration report.
#include "cli/status/config_report.h"

#include <iostream>

#include "cli/common/exit_status.h"

namespace joinscope {
namespace {

constexpr char kConfigurationPath[] = "/etc/orvald/orvald.conf";

}  // namespace

int printConfig() {
  writeConfig(std::cout, readConfig(kConfigurationPath));
  std::cout.flush();
  return exit_status::kSuccess;
}

tolk::Properties::Map readConfig(const std::string& path) {
  tolk::Properties properties;
  properties.load(path, true);
  return properties.all();
}

void writeConfig(std::ostream& out, const tolk::Properties::Map& properties) {
  if (properties.empty()) out << "No properties available -- no permission?\n";
  for (const auto& [key, value] : properties) {
    out << key << ": " << tolk::EscapeSpecialChars(value) << '\n';
  }
}

}  // namespace joinscope
