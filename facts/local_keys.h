// The keys that this host has for one realm, in the order of its keytab.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <vector>

#include "tolk/krb5/keytab.h"

namespace joinscope {

struct LocalKeys {
  std::vector<tolk::KeytabKey> keys;
  std::size_t newest = 0;      ///< the one written last, of several the first; when there is a key
  std::exception_ptr failure;  ///< what ended the scan before the end of the file
};

/// The keys in the keytab at `path` whose realm is `realm`, compared byte by byte. Throws
/// KerberosException when the keytab cannot be opened.
LocalKeys readLocalKeys(krb5_context kerberos, const std::string& path, const std::string& realm);

}  // namespace joinscope
