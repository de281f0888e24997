// The keys of the realm, listed as far as the keytab could be read.
#include "cli/account/local_keys.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <ostream>
#include <string>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "facts/local_keys.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"

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

}  // namespace

int latestLocalKeyVersion(TaskContext& context, std::ostream* verbose) {
  const std::string path = tolk::keytabPath();
  std::ostream& sink = sinkOf(verbose);
  sink << prefix(1) << "Examining local keys\n"
       << prefix(2) << "Keys in " << path << " for " << tolk::printable(context.domain) << '\n';
  if (!context.kerberosContext) throw tolk::KerberosException("authentication failure", 0);
  const LocalKeys found =
      readLocalKeys(context.kerberosContext->get(), path, tolk::toUpper(context.domain));
  Listing listing(sink);
  for (const tolk::KeytabKey& key : found.keys) listing.write(key);
  if (found.failure) std::rethrow_exception(found.failure);
  if (found.keys.empty()) throw tolk::KerberosException("no keys found", 0);
  const unsigned version = found.keys[found.newest].version;
  sink << prefix(3) << "Most recent local key version: " << version << '\n';
  return static_cast<int>(version);
}

}  // namespace joinscope
