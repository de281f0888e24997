// Where the value of a name in a line begins and ends.
#pragma once

#include <cstddef>
#include <string_view>

#include "cli/support/bundle/line_secrets.h"

namespace joinscope {

/// A name in front of a separator, and how it stands there.
struct NameInFront {
  std::string_view text;
  std::string_view words = {};  ///< with the word before it, when it says little by itself
  bool quoted = false;          ///< in quotes of its own, as in JSON
  bool insideLine =
      false;            ///< behind more than a few words: part of a log line or of an option list
  bool isPath = false;  ///< the last part of a path, before a colon
  char before = 0;      ///< the byte in front of it
};

/// The name that ends at the separator at `at`; its text is empty when there is none.
NameInFront nameInFront(std::string_view line, std::size_t at);

/// Behind `=`, `:`, `::`, `:=`, `=>` and their like at `at`.
std::size_t behindSeparator(std::string_view line, std::size_t at);

/// The bounds of a secret.
struct SecretValue {
  std::size_t start = 0;
  std::size_t end = 0;   ///< as `start` when there is nothing to replace
  std::size_t next = 0;  ///< where to go on
  OpenSecret open = {};
};

/// The value that begins at `at` or behind blanks there.
SecretValue findValue(std::string_view line, std::size_t at, const NameInFront& name);

/// Whether a value says only whether there is a secret.
bool isPlainFact(std::string_view value);

/// Whether `passwd` and this value are an entry of nsswitch.conf(5).
bool isNameServiceEntry(std::string_view name, std::string_view value);

/// The first word of a value, without quotes.
std::string_view firstWord(std::string_view value);

/// Letters, digits, `_`, `.`, `-` and `$`.
bool isNameByte(char byte) noexcept;

}  // namespace joinscope
