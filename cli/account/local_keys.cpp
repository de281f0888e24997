// Of the keys that tolk::KeytabScan brings, those of the realm are listed and the newest is kept.
#include "cli/account/local_keys.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/keytab.h"

namespace joinscope {
namespace {

/// Writes the lines of the listing; the column of principals grows with the names.
class Listing {
 public:
  explicit Listing(std::ostream& out) : out_(out) {
    out_ << prefix(3) << "version - timestamp - principal - encryption\n";
  }

  void write(const tolk::KeytabKey& key) {
    width_ = std::max(width_, key.principal.size());
    std::array<char, 256> line{};
    std::snprintf(line.data(), line.size(), "%3d  %s  %-*s", static_cast<int>(key.version),
                  key.writtenText().c_str(), static_cast<int>(width_), key.principal.c_str());
    out_ << prefix(3) << tolk::printable(line.data()) << "  " << key.encryptionText() << '\n';
  }

 private:
  std::ostream& out_;
  std::size_t width_ = 0;
};

std::optional<tolk::KeytabKey> findNewest(tolk::KeytabScan& scan, const std::string& realm,
                                          std::ostream& verbose) {
  Listing listing(verbose);
  std::optional<tolk::KeytabKey> newest;
  for (tolk::KeytabKey key; scan.next(key);) {
    if (key.realm != realm) continue;
    listing.write(key);
    if (!newest || key.written > newest->written) newest = std::move(key);
  }
  return newest;
}

}  // namespace

int latestLocalKeyVersion(TaskContext& context, std::ostream* verbose) {
  const std::string path = tolk::keytabPath();
  std::ostream& sink = sinkOf(verbose);
  sink << prefix(1) << "Examining local keys\n"
       << prefix(2) << "Keys in " << path << " for " << tolk::printable(context.domain) << '\n';
  if (!context.kerberosContext) throw tolk::KerberosException("authentication failure", 0);
  tolk::KeytabScan scan(context.kerberosContext->get(), path);
  const auto newest = findNewest(scan, tolk::toUpper(context.domain), sink);
  if (!newest) throw tolk::KerberosException("no keys found", 0);
  sink << prefix(3) << "Most recent local key version: " << newest->version << '\n';
  return static_cast<int>(newest->version);
}

}  // namespace joinscope
