// The persisted join settings of this host.
#include "tolk/base/join_settings.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <climits>
#include <utility>

#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace tolk {
namespace {

constexpr std::size_t kMaxSettingBytes = std::size_t{1} << 20U;
constexpr std::size_t kMaxKeytabBytes = std::size_t{16} << 20U;
constexpr std::size_t kMaxNetBiosName = 15;
constexpr std::size_t kMaxDnsName = 255;
constexpr const char* kRejoin = " Join this computer to the domain again.";

// A DNS name of at least two labels, as both settings must be; the underscore is what some
// directories allow besides RFC 1123.
bool isQualifiedDnsName(const std::string& name) {
  if (name.size() > kMaxDnsName) return false;
  const std::vector<std::string> labels = split(name, '.');
  const auto usable = [](const std::string& label) {
    return !label.empty() && label.size() <= 63 &&
           std::all_of(label.begin(), label.end(), [](char c) {
             return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                    c == '-' || c == '_' || static_cast<unsigned char>(c) >= 0x80;
           });
  };
  return labels.size() >= 2 && std::all_of(labels.begin(), labels.end(), usable);
}

void checkName(const JoinSettings& settings, std::string_view name, const std::string& what) {
  std::string value;
  try {
    value = settings.load(name, false, true);
  } catch (const Base_Exception& e) {
    throw TOLKException(std::string(e.what()) + "." + kRejoin, e.code());
  }
  if (!isQualifiedDnsName(value)) {
    throw TOLKException("The recorded " + what + " \"" + printable(value) +
                        "\" is not a fully qualified DNS name." + kRejoin);
  }
}

// Looks for the version bytes 5.1 and 5.2 of the keytab file format (MIT Kerberos, "Keytab file
// format").
void checkKeytab(const std::string& path) {
  std::string content;
  try {
    content = readRegularFile(path, kMaxKeytabBytes);
  } catch (const IOException& e) {
    throw TOLKException(
        std::string(e.what()) + ". Restore the keytab or join this computer to the domain again.",
        e.code());
  }
  const bool keytab = content.starts_with("\x05\x01") || content.starts_with("\x05\x02");
  std::fill(content.begin(), content.end(), '\0');
  if (!keytab) {
    throw TOLKException(path +
                        " is not a keytab. Restore it or join this computer to the domain again.");
  }
}

std::string systemHostName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

const JoinSettings& systemSettings() {
  static const auto* const settings = new JoinSettings(kStateDirectory);
  return *settings;
}

}  // namespace

JoinSettings::JoinSettings(std::string directory) : directory_(std::move(directory)) {}

std::string JoinSettings::pathOf(std::string_view name, bool previous) const {
  assert(name.find('/') == std::string_view::npos);
  return directory_ + (previous ? "/previous/kset." : "/kset.") + std::string(name);
}

std::string JoinSettings::load(std::string_view name, bool previous, bool mustExist) const {
  const std::string path = pathOf(name, previous);
  std::string value;
  try {
    value = trim(readRegularFile(path, kMaxSettingBytes));
  } catch (const IOException& e) {
    if (e.code() != ENOENT) throw;
  }
  if (value.empty() && mustExist) {
    throw NotFoundException("The join setting " + path + " is missing or empty");
  }
  return value;
}

bool JoinSettings::joined() const {
  return !load(SETTING_DOMAIN_NAME, false, false).empty() &&
         !load(SETTING_HOST_NAME, false, false).empty();
}

std::vector<std::string> JoinSettings::damage() const {
  constexpr std::size_t kNeeded = 3;
  constexpr std::array kOfEachJoin{
      SETTING_DOMAIN_NAME,  SETTING_HOST_NAME,     SETTING_HOSTSID, SETTING_PREW2K_HOST_NAME,
      SETTING_MACHINE_SITE, SETTING_ZONE_REALNAME, SETTING_SCHEMA,  SETTING_DOMAIN_CONTROLLER};
  std::vector<std::string> found;
  std::vector<std::string> missing;
  bool any = false;
  for (std::size_t i = 0; i < kOfEachJoin.size(); ++i) {
    try {
      const bool there = !load(kOfEachJoin[i], false, false).empty();
      any = any || there;
      if (!there && i < kNeeded) missing.push_back(pathOf(kOfEachJoin[i], false));
    } catch (const IOException& e) {
      any = true;
      found.push_back(std::string(e.what()) + ". The join settings are not all known.");
    }
  }
  for (const std::string& path : missing) {
    if (!any) break;
    found.push_back("The join setting " + path +
                    " is missing or empty, while others of the join are there. Run velkd adopt, or "
                    "join this computer to the domain again.");
  }
  return found;
}

std::string JoinSettings::preW2KHostName() const {
  std::string recorded = load(SETTING_PREW2K_HOST_NAME, false, false);
  if (!recorded.empty()) return recorded;
  std::string host = load(SETTING_HOST_NAME, false, false);
  if (host.empty()) host = systemHostName();
  return toUpper(split(host, '.').front()).substr(0, kMaxNetBiosName);
}

void JoinSettings::checkEssential(const std::string& keytabPath) const {
  checkName(*this, SETTING_DOMAIN_NAME, "domain");
  checkName(*this, SETTING_HOST_NAME, "host name");
  checkKeytab(keytabPath);
}

std::string loadSetting(std::string_view name, bool previous, bool mustExist) {
  return systemSettings().load(name, previous, mustExist);
}

bool joined() {
  return systemSettings().joined();
}

std::string PreW2KHostName() {
  return systemSettings().preW2KHostName();
}

std::string longJoinedHostName() {
  return loadSetting(SETTING_HOST_NAME);
}

void CheckEssentialKSets() {
  systemSettings().checkEssential(Props().getProperty(PN::KRB5_KEYTAB_NAME));
}

}  // namespace tolk
