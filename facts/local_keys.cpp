// What was read in front of a damaged place counts.
#include "facts/local_keys.h"

#include <utility>

#include "tolk/base/exceptions.h"

namespace joinscope {

LocalKeys readLocalKeys(krb5_context kerberos, const std::string& path, const std::string& realm) {
  LocalKeys found;
  tolk::KeytabScan scan(kerberos, path);
  try {
    for (tolk::KeytabKey key; scan.next(key);) {
      if (key.realm != realm) continue;
      if (!found.keys.empty() && key.written > found.keys[found.newest].written) {
        found.newest = found.keys.size();
      }
      found.keys.push_back(std::move(key));
    }
  } catch (const tolk::KerberosException&) {
    found.failure = std::current_exception();
  }
  return found;
}

}  // namespace joinscope
