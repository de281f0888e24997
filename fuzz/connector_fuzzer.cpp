// What names cloud connectors: the keywords of a directory object, a line each, and the lines of
// the join setting that keeps them. The first byte chooses.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cloud/connectors/connector_attributes.h"
#include "cloud/connectors/connector_checks.h"
#include "cloud/connectors/connector_kset.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace {

void takeKeywords(const std::string& text) {
  const std::vector<std::string> lines = tolk::split(text, '\n');
  tolk::ADObject host(lines.front());
  host[tolk::AD_DNS_HOST_NAME] = lines.front();
  std::vector<tolk::ADObject> objects{tolk::ADObject("CN=proxy," + lines.front())};
  objects.front()[tolk::AD_KEYWORDS] = lines;
  tolk::TextSet reported;
  const tolk::FoundConnectors found = tolk::processList(objects, {host}, {}, reported);
  for (const tolk::CloudConnector& connector : found.valid) {
    const std::string& address = connector.address;
    if (!tolk::isPort(connector.port) || tolk::splitAddress(address).host.empty()) std::abort();
    if (connector.url.find('\n') != std::string::npos) std::abort();
  }
}

/// What is kept is read back as it was.
void takeLines(const std::string& text) {
  const std::string kept = tolk::ksetText(tolk::parseKset(text), false);
  if (tolk::ksetText(tolk::parseKset(kept), false) != kept) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tolk::fillTolkAttributeMap();
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 2 == 0)
    takeKeywords(text);
  else
    takeLines(text);
  return 0;
}
