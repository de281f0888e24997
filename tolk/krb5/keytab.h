// The keys that a keytab holds, and whose they are.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "tolk/krb5/krb5_handles.h"

namespace tolk {

class KerberosContext;

/// One key; its secret part is left in the file.
struct KeytabKey {
  std::string principal;  ///< with the escapes of the Kerberos library
  std::string name;       ///< its one component as written; "" when it has several
  std::string realm;      ///< as written
  unsigned version = 0;
  std::uint32_t written = 0;  ///< seconds since 1970, as the file holds them: good until 2106
  int encryption = 0;         ///< RFC 3961, 8

  /// "11/22/25 08:26:40" in local time and "AES-256 CTS mode with 96-bit SHA-1 HMAC", as the
  /// library writes them; "?" for what it does not know.
  [[nodiscard]] std::string writtenText() const;
  [[nodiscard]] std::string encryptionText() const;
};

/// One pass over a keytab, in the order of the file, which is only read. Every failure is a
/// KerberosException with the library's code that says in which step.
class KeytabScan {
 public:
  KeytabScan(krb5_context context, const std::string& path);
  KeytabScan(const KeytabScan&) = delete;
  KeytabScan& operator=(const KeytabScan&) = delete;
  ~KeytabScan();

  /// Takes the next key into `key`; false at the end, which closes the keytab.
  bool next(KeytabKey& key);

 private:
  void finish();

  krb5_context context_;
  Krb5Keytab keytab_;
  krb5_kt_cursor cursor_ = nullptr;
  bool open_ = false;
};

/// A computer account: a principal of one component that ends in "$" (MS-ADTS 3.1.1.4.5,
/// sAMAccountName of a computer).
struct KeytabAccount {
  std::string name;         ///< without the "$", as written in the keytab
  std::string realm;        ///< as written in the keytab
  unsigned keyVersion = 0;  ///< the highest
  std::time_t newest = 0;   ///< when its newest key was written

  /// "NAME$@REALM", with the escapes of the Kerberos library.
  std::string principal;
};

/// The accounts in the keytab at `path`, each once, in the order of the file. Throws
/// KerberosException, with code ENOENT or KRB5_KT_NOTFOUND when there is no such file.
std::vector<KeytabAccount> machineAccountsInKeytab(KerberosContext& kerberos,
                                                   const std::string& path);

}  // namespace tolk
