#include "tolk/krb5/gss_config_overlay.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>

#include "tolk/base/text.h"
#include "tolk/krb5/memory_file.h"

namespace tolk {
namespace {

/// Only what cannot be mistaken for the file's syntax goes into it.
bool isPlainName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '-' || c == '_';
  });
}

constexpr const char* kLibraryDefaults =
    "[libdefaults]\n"
    "kdc_timesync = 0\n"
    "dns_canonicalize_hostname = false\n"
    "rdns = false\n"
    "qualify_shortname = \"\"\n"
    "dns_lookup_kdc = false\n"
    "dns_lookup_realm = false\n";

std::string configuration(const std::string& realm, const std::string& host) {
  std::string text = kLibraryDefaults;
  if (!isPlainName(realm)) return text;
  text += "default_realm = " + realm + "\n";
  if (isPlainName(host)) text += "[domain_realm]\n" + host + " = " + realm + "\n";
  return text;
}

std::string configuration(const std::list<std::string>& domains) {
  std::string text = std::string(kLibraryDefaults) + "[domain_realm]\n";
  for (const std::string& domain : domains) {
    if (isPlainName(domain)) text += "." + toLower(domain) + " = " + toUpper(domain) + "\n";
  }
  return text;
}

/// The path of a file with that text. The profile library remembers files by path and second, so no
/// path may ever get other content: a file, once made, stays open until the process ends. There are
/// as many as domains in use.
std::string pathOf(const std::string& text) {
  static std::map<std::string, UniqueFd> files;
  auto found = files.find(text);
  if (found == files.end()) found = files.emplace(text, memoryFile(text)).first;
  return memoryFilePath(found->second);
}

std::string fileList(const std::string& first) {
  const char* former = std::getenv("KRB5_CONFIG");
  return pathOf(first) + ":" + (former != nullptr ? former : "/etc/krb5.conf");
}

// Whether an overlay for all threads is in force.
std::atomic<bool> gForAllThreads = false;

}  // namespace

GssConfigOverlay::GssConfigOverlay(const std::string& realm, const std::string& host) {
  if (!gForAllThreads) variable_.emplace("KRB5_CONFIG", fileList(configuration(realm, host)));
}

GssConfigOverlay::GssConfigOverlay(const std::list<std::string>& domains) : forAllThreads_(true) {
  variable_.emplace("KRB5_CONFIG", fileList(configuration(domains)));
  gForAllThreads = true;
}

GssConfigOverlay::~GssConfigOverlay() {
  if (forAllThreads_) gForAllThreads = false;
}

}  // namespace tolk
