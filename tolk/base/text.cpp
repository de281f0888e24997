// Small text helpers: case, blanks, splitting and safe printing.
#include "tolk/base/text.h"

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <cstdint>

namespace tolk {
namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;
using boost::locale::utf::code_point;

constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";

constexpr char lowered(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char raised(char c) noexcept {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

struct Range {
  code_point first;
  code_point last;
};

// Beyond ASCII: C1 controls, blanks that pass for a plain one, and all that Unicode calls
// default-ignorable or that changes the direction of writing. The ideographic space (U+3000) is
// left: names use it and it can be seen.
constexpr std::array kUnseen{
    Range{0x80, 0xA0},       Range{0xAD, 0xAD},       Range{0x034F, 0x034F},
    Range{0x061C, 0x061C},   Range{0x115F, 0x1160},   Range{0x1680, 0x1680},
    Range{0x17B4, 0x17B5},   Range{0x180B, 0x180F},   Range{0x2000, 0x200F},
    Range{0x2028, 0x202F},   Range{0x205F, 0x206F},   Range{0x3164, 0x3164},
    Range{0xFE00, 0xFE0F},   Range{0xFEFF, 0xFEFF},   Range{0xFFA0, 0xFFA0},
    Range{0xFFF0, 0xFFFB},   Range{0xFFFE, 0xFFFF},   Range{0x1BCA0, 0x1BCA3},
    Range{0x1D173, 0x1D17A}, Range{0xE0000, 0xE0FFF},
};

bool isUnseen(code_point c) noexcept {
  return std::any_of(kUnseen.begin(), kUnseen.end(),
                     [c](const Range& r) { return c >= r.first && c <= r.last; });
}

std::string hex(std::uint32_t number, std::size_t digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (; number != 0 || text.size() < digits; number >>= 4U) {
    text.insert(text.begin(), kDigits[number & 0xFU]);
  }
  return text;
}

// Copies `text`, writing ASCII bytes as `escapeAscii` says and what cannot be seen as an escape.
template <typename EscapeAscii>
std::string escape(std::string_view text, EscapeAscii escapeAscii) {
  std::string out;
  out.reserve(text.size());
  for (const char* at = text.data(); at != text.data() + text.size();) {
    const char* next = at;
    const code_point c = Utf8::decode(next, text.data() + text.size());
    if (!boost::locale::utf::is_valid_codepoint(c)) {
      next = at + 1;  // one byte at a time: the bytes behind it may begin a letter
      out += "\\x" + hex(static_cast<unsigned char>(*at), 2);
    } else if (c < 0x80) {
      escapeAscii(out, *at);
    } else if (isUnseen(c)) {
      out += "\\u{" + hex(c, 4) + "}";
    } else {
      out.append(at, next);
    }
    at = next;
  }
  return out;
}

void escapeControl(std::string& out, char c) {
  if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
    out += "\\x" + hex(static_cast<unsigned char>(c), 2);
  } else {
    out += c;
  }
}

void escapeReversibly(std::string& out, char c) {
  switch (c) {
    case '\\':
      out += "\\\\";
      break;
    case '\n':
      out += "\\n";
      break;
    case '\t':
      out += "\\t";
      break;
    case '\r':
      out += "\\r";
      break;
    default:
      escapeControl(out, c);
  }
}

}  // namespace

std::string toLower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), lowered);
  return out;
}

std::string toUpper(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), raised);
  return out;
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) noexcept {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lowered(a) == lowered(b); });
}

bool lessIgnoringCase(std::string_view left, std::string_view right) noexcept {
  const auto order = [](char c) { return static_cast<unsigned char>(lowered(c)); };
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [&](char a, char b) { return order(a) < order(b); });
}

std::string_view trim(std::string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

std::string hexByte(unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  return {kDigits[byte >> 4U], kDigits[byte & 0xFU]};
}

bool isUtf8(std::string_view text) noexcept {
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) {
    if (!boost::locale::utf::is_valid_codepoint(Utf8::decode(at, end))) return false;
  }
  return true;
}

std::string printable(std::string_view text) {
  return escape(text, escapeControl);
}

std::string escapeOnOneLine(std::string_view text) {
  return escape(text, escapeReversibly);
}

}  // namespace tolk
