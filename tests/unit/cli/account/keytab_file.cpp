#include "keytab_file.h"

#include <krb5.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "tolk/base/properties.h"
#include "tolk/base/property_names.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace joinscope::test {
namespace {

std::size_t counted(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes.at(at)) * 256U +
         static_cast<unsigned char>(bytes.at(at + 1));
}

// The library stamps an entry with the present time, so another one is put into the file (MIT
// Kerberos, "Keytab file format"): behind the entry's length, the number of components, realm and
// components, each with its length, and the name type.
void setTime(const std::string& path, std::size_t entry, std::uint32_t time) {
  std::ifstream in(path, std::ios::binary);
  std::string bytes(std::istreambuf_iterator<char>(in), {});
  std::size_t at = entry + 4;
  const std::size_t names = counted(bytes, at) + 1;
  at += 2;
  for (std::size_t i = 0; i < names; ++i) at += 2 + counted(bytes, at);
  at += 4;
  for (int shift = 24; shift >= 0; shift -= 8) bytes.at(at++) = static_cast<char>(time >> shift);
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace

KeytabFile::KeytabFile() {
  directory_.write("test.keytab", std::string_view("\x05\x02", 2));
  tolk::Props().set(tolk::PN::KRB5_KEYTAB_NAME, path());
}

void KeytabFile::add(const KeytabKey& key) const {
  const tolk::KerberosContext kerberos;
  tolk::Krb5Keytab keytab(kerberos.get());
  tolk::throwIfKrb5(kerberos.get(),
                    krb5_kt_resolve(kerberos.get(), ("WRFILE:" + path()).c_str(), keytab.out()),
                    "resolving");
  tolk::Krb5Principal principal(kerberos.get());
  tolk::throwIfKrb5(kerberos.get(),
                    krb5_parse_name(kerberos.get(), key.principal.c_str(), principal.out()),
                    "parsing");
  std::array<krb5_octet, 32> bytes{1, 2, 3};
  krb5_keytab_entry entry{};
  entry.principal = principal.get();
  entry.vno = key.version;
  entry.key.enctype = key.encryption;
  entry.key.length = key.encryption == ENCTYPE_AES256_CTS_HMAC_SHA1_96 ? 32 : 16;
  entry.key.contents = bytes.data();
  const std::size_t end = std::filesystem::file_size(path());
  tolk::throwIfKrb5(kerberos.get(), krb5_kt_add_entry(kerberos.get(), keytab.get(), &entry),
                    "adding");
  setTime(path(), end, key.time);
}

}  // namespace joinscope::test
