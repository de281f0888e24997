// Small text helpers that every folder uses: case, blanks, formatting and safe printing.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tolk {

/// ASCII case mapping; other bytes stay as they are.
std::string toLower(std::string_view text);
std::string toUpper(std::string_view text);
bool equalsIgnoringCase(std::string_view left, std::string_view right) noexcept;
bool lessIgnoringCase(std::string_view left, std::string_view right) noexcept;

/// Without white space at both ends.
std::string_view trim(std::string_view text) noexcept;

/// The pieces between separators; empty pieces are kept, an empty text is one empty piece.
std::vector<std::string> split(std::string_view text, char separator);

/// Fills a printf-like pattern (%s, %d, %-10s ...) with texts, one for each directive
/// (Boost.Format). A pattern that does not match its arguments throws nothing and leaves directives
/// empty.
std::string formatText(const std::string& pattern, std::initializer_list<std::string> arguments);

/// The two hexadecimal digits of a byte, letters in lower case.
std::string hexByte(unsigned char byte);

/// Whether all bytes are well-formed UTF-8 (RFC 3629).
bool isUtf8(std::string_view text) noexcept;

/// For text from the network or the daemon that goes to a terminal or a report: control characters
/// and bytes that are not UTF-8 become \xHH, invisible and direction-changing characters \u{HHHH};
/// other letters stay.
std::string printable(std::string_view text);

/// The same made reversible: a backslash becomes two, line feed, tabulator and carriage return \n,
/// \t and \r.
std::string escapeOnOneLine(std::string_view text);

}  // namespace tolk
