// A table of first bytes, and for DER and wide text a look at their structure.
#include "cli/support/bundle/secret_files.h"

#include <algorithm>
#include <array>
#include <string>

#include "tolk/base/text.h"

namespace joinscope {
namespace {

using std::string_view_literals::operator""sv;
using Handling = FileKind::Handling;

struct Magic {
  std::string_view bytes;
  Handling handling;
  std::string_view what;
};

constexpr std::array kMagics{
    Magic{"\x05\x01"sv, Handling::leaveOut, "a keytab or a credential cache"},
    Magic{"\x05\x02"sv, Handling::leaveOut, "a keytab"},
    Magic{"\x05\x03"sv, Handling::leaveOut, "a credential cache"},
    Magic{"\x05\x04"sv, Handling::leaveOut, "a credential cache"},
    Magic{"openssh-key-v1\0"sv, Handling::leaveOut, "a private key"},
    Magic{"PuTTY-User-Key-File"sv, Handling::leaveOut, "a private key"},
    Magic{"---- BEGIN SSH2 ENCRYPTED PRIVATE"sv, Handling::leaveOut, "a private key"},
    Magic{"\xfe\xed\xfe\xed"sv, Handling::leaveOut, "a key store"},
    Magic{"\xce\xce\xce\xce"sv, Handling::leaveOut, "a key store"},
    Magic{"TDB file\n"sv, Handling::leaveOut, "a cache of secrets (TDB)"},
    Magic{"LUKS\xba\xbe"sv, Handling::leaveOut, "a key header (LUKS)"},
    Magic{"\xff\xfe"sv, Handling::leaveOut, "a text in UTF-16"},
    Magic{"\xfe\xff"sv, Handling::leaveOut, "a text in UTF-16"},
    Magic{"\x7f"
          "ELF"sv,
          Handling::keep, "a program or a memory image"},
    Magic{"\x1f\x8b"sv, Handling::keep, "a compressed file"},
    Magic{"BZh"sv, Handling::keep, "a compressed file"},
    Magic{"\xfd"
          "7zXZ"sv,
          Handling::keep, "a compressed file"},
    Magic{"\x28\xb5\x2f\xfd"sv, Handling::keep, "a compressed file"},
    Magic{"\x04\x22\x4d\x18"sv, Handling::keep, "a compressed file"},
    Magic{"PK\x03\x04"sv, Handling::keep, "a compressed file"},
    Magic{"SQLite format 3\0"sv, Handling::keep, "a database"},
    Magic{"LPKSHHRH"sv, Handling::keep, "a journal"},
    Magic{"\xd4\xc3\xb2\xa1"sv, Handling::keep, "a record of packets"},
    Magic{"\x0a\x0d\x0d\x0a"sv, Handling::keep, "a record of packets"},
};

// The content of a DER element of this type at the start of `bytes` (X.690, 8.1); empty when there
// is another one.
std::string_view derContent(std::string_view bytes, char type) {
  constexpr unsigned kLongForm = 0x80;
  constexpr unsigned kMostLengthBytes = 4;
  if (bytes.size() < 2 || bytes[0] != type) return {};
  const unsigned length = static_cast<unsigned char>(bytes[1]);
  if (length < kLongForm) return bytes.substr(2);
  const unsigned lengthBytes = length - kLongForm;
  if (lengthBytes == 0 || lengthBytes > kMostLengthBytes || bytes.size() < 2 + lengthBytes)
    return {};
  return bytes.substr(2 + lengthBytes);
}

// A sequence that begins with a version: the private keys of RFC 8017, 5915 and 5958, and the store
// of RFC 7292. Encrypted, a sequence with the name of a password scheme (RFC 5958, 8018 and 7292).
bool isDerKey(std::string_view bytes) {
  constexpr char kSequence = 0x30;
  constexpr char kLastVersion = 3;
  const std::string_view content = derContent(bytes, kSequence);
  if (content.starts_with("\x02\x01"sv)) return content.size() > 2 && content[2] <= kLastVersion;
  const std::string_view scheme = derContent(derContent(content, kSequence), 0x06);
  return scheme.starts_with("\x2a\x86\x48\x86\xf7\x0d\x01\x05"sv) ||
         scheme.starts_with("\x2a\x86\x48\x86\xf7\x0d\x01\x0c"sv);
}

bool isPemKey(std::string_view bytes) {
  const std::string_view line = bytes.substr(0, bytes.find('\n'));
  return line.starts_with("-----BEGIN ") && line.find("PRIVATE KEY") != std::string_view::npos;
}

// ASCII in two bytes a character, without a mark in front.
bool isWideText(std::string_view bytes) {
  constexpr std::size_t kEnough = 8;
  if (bytes.size() < kEnough) return false;
  const auto wide = [bytes](std::size_t zero) {
    for (std::size_t at = 0; at < kEnough; ++at) {
      if ((bytes[at] == '\0') != (at % 2 == zero)) return false;
    }
    return true;
  };
  return wide(0) || wide(1);
}

// Whether more control characters are in it than any text has. NUL is not counted: logs that were
// cut while they were written begin with many.
bool isBinary(std::string_view bytes) {
  constexpr std::size_t kOneIn = 50;
  const auto isControl = [](unsigned char byte) {
    return byte < 0x20 && std::string_view("\0\t\n\v\f\r\b\x1b", 8).find(static_cast<char>(byte)) ==
                              std::string_view::npos;
  };
  return static_cast<std::size_t>(std::ranges::count_if(bytes, isControl)) * kOneIn > bytes.size();
}

constexpr std::array<std::string_view, 14> kNameEndings{
    ".keytab", ".cred",    ".pfx",     ".p12",    ".p8",    ".jks",
    ".key",    ".kdbx",    ".secrets", ".pgpass", ".netrc", ".git-credentials",
    ".my.cnf", ".htpasswd"};
constexpr std::array<std::string_view, 15> kNames{
    "id_rsa",  "id_dsa",      "id_ecdsa",     "id_ed25519",  "shadow",
    "shadow-", "gshadow",     "gshadow-",     "opasswd",     "key3.db",
    "key4.db", "logins.json", "chap-secrets", "pap-secrets", "pam_radius_auth.conf"};

}  // namespace

FileKind recogniseFile(std::string_view firstBytes) {
  for (const Magic& row : kMagics) {
    if (firstBytes.starts_with(row.bytes)) return {row.handling, row.what};
  }
  if (isPemKey(firstBytes) || isDerKey(firstBytes)) return {Handling::leaveOut, "a private key"};
  if (isWideText(firstBytes)) return {Handling::leaveOut, "a text in UTF-16"};
  if (isBinary(firstBytes)) return {Handling::keep, "a binary file"};
  return {};
}

bool isSecretFileName(std::string_view name) {
  const std::string lower = tolk::toLower(name);
  return lower.starts_with("krb5cc_") || std::ranges::find(kNames, lower) != kNames.end() ||
         std::ranges::any_of(kNameEndings,
                             [&lower](std::string_view ending) { return lower.ends_with(ending); });
}

}  // namespace joinscope
