// The secrets in one line of text, found by the names in front of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace joinscope {

/// What stands in the place of a secret.
inline constexpr std::string_view kLeftOut = "(left out)";

/// How the secret that a line ends with goes on in the lines that follow.
struct OpenSecret {
  enum class Until {
    here,       ///< it does not
    backslash,  ///< while the line before ends in a backslash
    indent,     ///< while lines stand further to the right than `indent`
    quote,      ///< to the next `mark`
    bracket,    ///< to the next `]`
    tag,        ///< to the next `</`
  };
  Until until = Until::here;
  std::size_t indent = 0;
  char mark = 0;
  bool begun = true;         ///< false when the line ends with the name
  bool valueIsNext = false;  ///< the line says `name: SECRET_NAME`; its `value` is still to come
};

/// Appends `line`, which has no line end, to `out` with the secrets replaced. They are found as
/// `name=value`, `name: value`, `"name": "value"`, `<name>value</name>`, `--name value` and `bindpw
/// value`, as a pair of `name` and `value` members, in the user part of a URL and between the marks
/// of a key (RFC 7468). `valueIsNext` is that of the line before.
OpenSecret redactLine(std::string_view line, bool valueIsNext, std::string& out);

/// The same for the user parts of URLs alone.
void redactUrls(std::string_view line, std::string& out);

/// The name in front of the first `:` or `=`, when the line is a name and its value.
bool isNameAndValue(std::string_view line);

/// How many blanks the line begins with.
std::size_t indentOf(std::string_view line) noexcept;

}  // namespace joinscope
