// The scan of the keytab.
#include "cli/account/local_keys.h"

#include <krb5.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "cli/common/output.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/krb5/kerberos_context.h"
#include "tolk/krb5/kerberos_paths.h"
#include "tolk/krb5/krb5_error.h"
#include "tolk/krb5/krb5_handles.h"

namespace joinscope {
namespace {

void check(krb5_context kerberos, krb5_error_code code, const char* what) {
  if (code == 0) return;
  throw tolk::KerberosException(std::string(what) + ":" + tolk::krb5Message(kerberos, code),
                                static_cast<int>(code));
}

/// An entry whose contents are freed at scope exit.
struct Entry {
  explicit Entry(krb5_context context) noexcept : kerberos(context) {}
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  ~Entry() { krb5_free_keytab_entry_contents(kerberos, &value); }

  krb5_context kerberos;
  krb5_keytab_entry value{};
};

/// One pass over a keytab. Ended with finish(), or at scope exit when something was thrown.
class Scan {
 public:
  Scan(krb5_context kerberos, krb5_keytab keytab) : kerberos_(kerberos), keytab_(keytab) {
    check(kerberos_, krb5_kt_start_seq_get(kerberos_, keytab_, &cursor_),
          "while starting keytab scan");
  }
  Scan(const Scan&) = delete;
  Scan& operator=(const Scan&) = delete;
  ~Scan() {
    if (open_) krb5_kt_end_seq_get(kerberos_, keytab_, &cursor_);
  }

  /// False at the end.
  bool next(Entry& entry) {
    const krb5_error_code rc = krb5_kt_next_entry(kerberos_, keytab_, &entry.value, &cursor_);
    if (rc == KRB5_KT_END) return false;
    check(kerberos_, rc, "while scanning keytab");
    return true;
  }

  void finish() {
    open_ = false;
    check(kerberos_, krb5_kt_end_seq_get(kerberos_, keytab_, &cursor_), "while ending keytab scan");
  }

 private:
  krb5_context kerberos_;
  krb5_keytab keytab_;
  krb5_kt_cursor cursor_{};
  bool open_ = true;
};

std::string timestampText(krb5_timestamp time) {
  std::array<char, 18> text{};
  char pad = ' ';
  return krb5_timestamp_to_sfstring(time, text.data(), text.size(), &pad) == 0 ? text.data() : "?";
}

std::string encryptionText(krb5_enctype type) {
  std::array<char, 100> text{};
  return krb5_enctype_to_string(type, text.data(), text.size()) == 0 ? text.data() : "?";
}

/// Writes the lines of the listing; the column of principals grows with the names.
class Listing {
 public:
  Listing(std::ostream& out, krb5_context kerberos) : out_(out), kerberos_(kerberos) {}

  void write(const krb5_keytab_entry& entry) {
    const std::string principal = tolk::principalText(kerberos_, entry.principal);
    width_ = std::max(width_, principal.size());
    std::array<char, 256> line{};
    std::snprintf(line.data(), line.size(), "%3d  %s  %-*s", static_cast<int>(entry.vno),
                  timestampText(entry.timestamp).c_str(), static_cast<int>(width_),
                  principal.c_str());
    out_ << prefix(3) << tolk::printable(line.data()) << "  " << encryptionText(entry.key.enctype)
         << '\n';
  }

 private:
  std::ostream& out_;
  krb5_context kerberos_;
  std::size_t width_ = 0;
};

bool isOfRealm(const krb5_keytab_entry& entry, const std::string& realm) {
  const krb5_data& data = entry.principal->realm;
  return std::string_view(data.data, data.length) == realm;
}

struct NewestKey {
  std::uint32_t time;  ///< as the file holds it: seconds since 1970, good until 2106
  int version;
};

std::optional<NewestKey> findNewest(krb5_context kerberos, krb5_keytab keytab,
                                    const std::string& realm, std::ostream* verbose) {
  Scan scan(kerberos, keytab);
  std::optional<Listing> listing;
  if (verbose != nullptr) {
    *verbose << prefix(3) << "version - timestamp - principal - encryption\n";
    listing.emplace(*verbose, kerberos);
  }
  std::optional<NewestKey> newest;
  for (;;) {
    Entry entry(kerberos);
    if (!scan.next(entry)) break;
    if (!isOfRealm(entry.value, realm)) continue;
    if (listing) listing->write(entry.value);
    const auto time = static_cast<std::uint32_t>(entry.value.timestamp);
    if (!newest || time > newest->time) newest = NewestKey{time, static_cast<int>(entry.value.vno)};
  }
  scan.finish();
  return newest;
}

}  // namespace

int latestLocalKeyVersion(TaskContext& context, std::ostream* verbose) {
  const std::string path = tolk::keytabPath();
  if (verbose != nullptr) {
    *verbose << prefix(1) << "Examining local keys\n"
             << prefix(2) << "Keys in " << path << " for " << tolk::printable(context.domain)
             << '\n';
  }
  if (!context.kerberosContext) throw tolk::KerberosException("authentication failure", 0);
  const krb5_context kerberos = context.kerberosContext->get();
  tolk::Krb5Keytab keytab(kerberos);
  check(kerberos, krb5_kt_resolve(kerberos, ("WRFILE:" + path).c_str(), keytab.out()),
        "while resolving keytab");
  const std::optional<NewestKey> newest =
      findNewest(kerberos, keytab.get(), tolk::toUpper(context.domain), verbose);
  if (!newest) throw tolk::KerberosException("no keys found", 0);
  if (verbose != nullptr) {
    *verbose << prefix(3) << "Most recent local key version: " << newest->version << '\n';
  }
  return newest->version;
}

}  // namespace joinscope
