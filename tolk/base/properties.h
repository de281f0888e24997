// Parsed configuration: a map from key to value whose keys compare without case, and the
// process-wide one that holds /etc/orvald/orvald.conf.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace tolk {

struct Property;

/// Orders ASCII text without regard to case.
struct StringCaseLessThan {
  using is_transparent = void;
  [[nodiscard]] bool operator()(std::string_view left, std::string_view right) const noexcept;
};

/// One configuration. Every member takes the lock itself; hold lock() around several calls that
/// belong together. Values are kept as text and read anew at each question, so a changed value
/// counts from the next question on.
class Properties {
 public:
  using Map = std::map<std::string, std::string, StringCaseLessThan>;

  /// Adds the properties of the file at `path` (orvald.conf(5)); later ones replace earlier ones of
  /// the same key. With `quiet`, a file that is missing, unreadable, no regular file or over 16 MiB
  /// adds nothing and false comes back; without it that throws IOException. Lines that are no
  /// property are skipped.
  bool load(const std::string& path, bool quiet);

  /// Replaces all properties with those of the file. One that cannot be read leaves none with
  /// `quiet`; else the properties stay as they were and IOException is thrown.
  void reload(const std::string& path, bool quiet);

  /// Adds the properties of a text in the form of orvald.conf(5).
  void parse(std::string_view text);

  /// A copy, in the order of the keys.
  [[nodiscard]] Map all() const;
  [[nodiscard]] bool empty() const;

  /// The value of `key`, or `fallback` when it is absent.
  [[nodiscard]] std::string getProperty(std::string_view key, const std::string& fallback) const;
  /// The value, or the documented default of the property when it is absent.
  [[nodiscard]] std::string getProperty(const Property& property) const;
  /// The value as a whole decimal number; the documented default when it is none from low to high.
  [[nodiscard]] long getNumber(const Property& property, long low, long high) const;
  /// A time. `unit` (s, m, h or d) is the unit of the result and of a value without one; a value
  /// may end in a unit of its own. Fractions of the result are dropped; a negative value comes back
  /// as it is. A value that is no whole number, or too large, gives `fallback`.
  [[nodiscard]] long getTime(std::string_view key, char unit, long fallback) const;
  /// A limit in milliseconds from a property in seconds, at least 100 ms and at most one hour.
  /// Fractions and the units of getTime are accepted; what is no number, or negative, counts as the
  /// documented default.
  [[nodiscard]] int getLimitMs(const Property& property) const;
  /// "true", "yes", "1" or "false", "no", "0" in any case; anything else is the documented default.
  [[nodiscard]] bool getBool(const Property& property) const;

  /// Sets or inserts a value in memory; nothing is written to disk.
  void set(std::string_view key, std::string value);

  [[nodiscard]] std::unique_lock<std::recursive_mutex> lock() const;

 private:
  mutable std::recursive_mutex mutex_;
  Map values_;
};

/// The process-wide configuration, loaded from /etc/orvald/orvald.conf at the first call. `reload`
/// reads the file again (the daemon's SIGHUP); `strict` throws IOException when it cannot be read,
/// else an unreadable file counts as empty. The first call may come from several threads at once.
Properties& Props(bool reload = false, bool strict = false);

/// Makes a value printable on one line, reversibly: backslash, line feed, tabulator and carriage
/// return become \\, \n, \t and \r, other control characters and bytes that are not UTF-8 \xHH,
/// invisible characters \u{HHHH}.
std::string EscapeSpecialChars(const std::string& value);

}  // namespace tolk
