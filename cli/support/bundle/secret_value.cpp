// Each syntax ends a value in its own way: quotes, brackets, the next member, the line.
#include "cli/support/bundle/secret_value.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "tolk/base/text.h"

namespace joinscope {
namespace {

using Until = OpenSecret::Until;

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view kBlanks = " \t";

bool isQuote(char byte) noexcept {
  return byte == '"' || byte == '\'';
}

std::size_t skipBlanks(std::string_view line, std::size_t at) {
  return std::min(line.find_first_not_of(kBlanks, at), line.size());
}

// Whether what stands in front of a name is at most a few words, as of a label: "#Proxy password".
bool isLabel(std::string_view front) {
  constexpr long kMostWords = 4;
  const auto isLabelByte = [](char byte) {
    return std::isalpha(static_cast<unsigned char>(byte)) != 0 ||
           std::string_view(" \t#;\"'-{*").find(byte) != npos;
  };
  if (!std::ranges::all_of(front, isLabelByte)) return false;
  const std::size_t option = front.find(" -");
  if (option != npos && option + 2 < front.size() && front[option + 2] != ' ') return false;
  return std::ranges::count(tolk::trim(front), ' ') <= kMostWords;
}

bool isHeader(std::string_view name) {
  const std::string lower = tolk::toLower(name);
  return lower.ends_with("authorization") || lower.ends_with("cookie");
}

// The end of a text in quotes that begins behind `at`; npos when it is not on this line. The quotes
// themselves may be escaped, as in JSON that is a text of JSON: `backslashes` stand before each.
std::size_t closingQuote(std::string_view line, std::size_t at, char quote,
                         std::size_t backslashes) {
  for (std::size_t end = at; end < line.size(); ++end) {
    if (line[end] == quote) {
      const bool doubled = end > at && end + 1 < line.size() && line[end + 1] == quote;
      if (!doubled) return end;
      ++end;
    } else if (line[end] == '\\') {
      std::size_t run = end;
      while (run < line.size() && line[run] == '\\') ++run;
      if (backslashes > 0 && run - end == backslashes && run < line.size() && line[run] == quote) {
        return end;
      }
      if ((run - end) % 2 == 1 && backslashes == 0) ++run;  // what it escapes
      end = run - 1;
    }
  }
  return npos;
}

// Behind the name of an authentication scheme (RFC 9110, 11.4), which is no secret.
std::size_t behindScheme(std::string_view line, std::size_t at) {
  for (const std::string_view scheme :
       {"Basic", "Bearer", "Negotiate", "NTLM", "Digest", "Token"}) {
    const std::size_t end = at + scheme.size();
    if (tolk::equalsIgnoringCase(line.substr(at, scheme.size()), scheme) && end < line.size() &&
        line[end] == ' ') {
      return skipBlanks(line, end);
    }
  }
  return at;
}

// Where ", name=", "; name=", "&name=" or a comment ends what comes before it.
std::size_t nextMember(std::string_view line, std::size_t at) {
  for (std::size_t end = at; (end = line.find_first_of(" \t;,&|", end)) != npos; ++end) {
    std::size_t name = skipBlanks(line, end + 1);
    if (name < line.size() && (line[name] == '#' || line[name] == ';') &&
        kBlanks.find(line[end]) != npos && name + 1 < line.size() && line[name + 1] == ' ') {
      return end;
    }
    const std::size_t start = name;
    while (name < line.size() && isNameByte(line[name])) ++name;
    if (name > start && name + 1 < line.size() && line[name] == '=' && line[name + 1] != '=') {
      return end;
    }
  }
  return line.size();
}

SecretValue quoted(std::string_view line, std::size_t quote, const NameInFront& name) {
  std::size_t backslashes = 0;
  while (line[quote] == '\\') ++quote, ++backslashes;
  const std::string three(3, line[quote]);
  if (line.substr(quote).starts_with(three)) {  // TOML, Python
    const std::size_t close = line.find(three, quote + three.size());
    return {.start = quote + three.size(),
            .end = std::min(close, line.size()),
            .next = std::min(close, line.size() - three.size()) + three.size(),
            .open = {.until = close == npos ? Until::quote : Until::here, .mark = line[quote]}};
  }
  const std::size_t first = quote + 1;
  const std::size_t end = closingQuote(line, first, line[quote], backslashes);
  const std::size_t start = isHeader(name.text) ? behindScheme(line, first) : first;
  if (end != npos) return {.start = start, .end = end, .next = end + backslashes + 1};
  return {.start = start,
          .end = line.size(),
          .next = line.size(),
          .open = {.until = Until::quote, .mark = line[quote]}};
}

// The strings of a list, up to its bracket.
SecretValue listed(std::string_view line, std::size_t bracket) {
  const std::size_t end = line.find(']', bracket);
  if (end != npos) return {.start = bracket + 1, .end = end, .next = end};
  return {.start = bracket + 1,
          .end = line.size(),
          .next = line.size(),
          .open = {.until = Until::bracket}};
}

// Where a value without quotes ends, on its line.
std::size_t plainEnd(std::string_view line, std::size_t start, const NameInFront& name) {
  if (name.before == '?' || name.before == '&') {
    return std::min(line.find_first_of("&#\"'<> \t", start), line.size());
  }
  if (isQuote(name.before) && !name.quoted) {
    return std::min(line.find(name.before, start), line.size());
  }
  if (name.quoted) return std::min(line.find_first_of(",}] \t", start), line.size());
  if (isHeader(name.text)) return line.size();
  if (!name.insideLine) return nextMember(line, start);
  const std::string_view ends = name.before == ',' ? " \t," : " \t";
  std::size_t end = std::min(line.find_first_of(ends, start), line.size());
  end = nextMember(line.substr(0, end), start);
  while (end > start + 1 && std::string_view(")]},;").find(line[end - 1]) != npos) --end;
  return end;
}

SecretValue plain(std::string_view line, std::size_t start, const NameInFront& name) {
  std::size_t end = plainEnd(line, start, name);
  SecretValue value{.next = end};
  if (isHeader(name.text)) start = behindScheme(line, start);
  const bool toTheEnd = end == line.size() && !name.quoted && !name.insideLine;
  if (toTheEnd && line.back() == '\\') {
    --end;
    // Behind a blank the next word comes, which may be another member.
    const bool goesOn = end <= start || kBlanks.find(line[end - 1]) == npos;
    value.open = {.until = Until::backslash, .begun = goesOn};
  } else if (toTheEnd) {
    value.open = {.until = Until::indent, .indent = indentOf(line)};
  }
  while (end > start && kBlanks.find(line[end - 1]) != npos) --end;
  value.start = start;
  value.end = std::max(start, end);
  return value;
}

// "|", ">-" and their like: the value is the block of lines that follows (YAML 1.2, 8.1).
bool isBlockMark(std::string_view rest) {
  rest = tolk::trim(rest);
  return !rest.empty() && (rest.front() == '|' || rest.front() == '>') &&
         rest.find_first_not_of("+-0123456789", 1) == npos;
}

// Whether a brace opens a list of members, and not the scheme of a hashed password (RFC 3112).
bool isStructure(std::string_view rest) {
  constexpr std::size_t kLongestScheme = 40;
  rest = rest.substr(0, kLongestScheme);
  const std::size_t end = rest.find_first_not_of("{}");
  if (end == npos || end > 1 || std::isalnum(static_cast<unsigned char>(rest[1])) == 0) return true;
  return rest.substr(0, rest.find('}')).find_first_of(":=, ") != npos;
}

}  // namespace

bool isNameByte(char byte) noexcept {
  return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= 'a' && byte <= 'z') || byte == '_' || byte == '.' || byte == '-' || byte == '$';
}

std::size_t indentOf(std::string_view line) noexcept {
  return std::min(line.find_first_not_of(kBlanks), line.size());
}

NameInFront nameInFront(std::string_view line, std::size_t at) {
  NameInFront name;
  std::size_t end = at;
  while (end > 0 && std::string_view(" \t+?]").find(line[end - 1]) != npos) --end;
  if (end > 0 && isQuote(line[end - 1])) {
    name.quoted = line[at] == ':' || line[at] == '=';
    --end;
    while (end > 0 && line[end - 1] == '\\') --end;
  }
  std::size_t start = end;
  while (start > 0 && isNameByte(line[start - 1])) --start;
  name.text = line.substr(start, end - start);
  if (tolk::equalsIgnoringCase(name.text, "key") || tolk::equalsIgnoringCase(name.text, "phrase")) {
    while (start > 0 && line[start - 1] == ' ') --start;  // "Private key", "API key", "pass phrase"
    while (start > 0 && isNameByte(line[start - 1])) --start;
    name.words = line.substr(start, end - start);
    start = end - name.text.size();
  }
  name.before = start > 0 ? line[start - 1] : '\0';
  name.insideLine = name.text.starts_with("--") || !isLabel(line.substr(0, start));
  name.isPath = name.before == '/' && line[at] == ':';
  return name;
}

std::size_t behindSeparator(std::string_view line, std::size_t at) {
  constexpr std::size_t kMostMore = 2;
  std::size_t end = at + 1;
  while (end < line.size() && end <= at + kMostMore &&
         std::string_view("=:>").find(line[end]) != npos &&
         (line[end] != '>' || line[end - 1] == '=')) {
    ++end;
  }
  return end;
}

SecretValue findValue(std::string_view line, std::size_t at, const NameInFront& name) {
  const std::size_t start = skipBlanks(line, at);
  const std::string_view rest = line.substr(start);
  if (rest.empty() || isBlockMark(rest)) {
    return {.next = line.size(),
            .open = {.until = Until::indent, .indent = indentOf(line), .begun = false}};
  }
  const std::size_t escape = rest.find_first_not_of('\\');
  if (escape != npos && isQuote(rest[escape])) return quoted(line, start, name);
  if (rest.front() == '{' && isStructure(rest)) return {.next = start + 1};
  if (rest.front() == '[') return listed(line, start);
  return plain(line, start, name);
}

bool isPlainFact(std::string_view value) {
  value = tolk::trim(value);
  if (value.find_first_not_of('*') == npos || value == kLeftOut) return true;
  return std::ranges::any_of(
      std::initializer_list<std::string_view>{"null", "nil", "none", "true", "false", "yes", "no"},
      [value](std::string_view word) { return tolk::equalsIgnoringCase(value, word); });
}

bool isNameServiceEntry(std::string_view name, std::string_view value) {
  constexpr std::array<std::string_view, 12> kServices{"files",   "systemd", "sss", "ldap",
                                                       "winbind", "compat",  "nis", "nisplus",
                                                       "db",      "orvald",  "dns", "extrausers"};
  if (name != "passwd") return false;
  bool any = false;
  for (const std::string& word : tolk::split(tolk::trim(value), ' ')) {
    if (word.empty() || word.starts_with('[')) continue;
    if (std::ranges::find(kServices, word) == kServices.end()) return false;
    any = true;
  }
  return any;
}

std::string_view firstWord(std::string_view value) {
  const std::size_t start = value.find_first_not_of(" \t\"'\\");
  if (start == npos) return {};
  std::size_t end = start;
  while (end < value.size() && isNameByte(value[end])) ++end;
  return value.substr(start, end - start);
}

bool isNameAndValue(std::string_view line) {
  std::size_t at = line.find_first_not_of(" \t-\"'");
  if (at == npos) return false;
  const std::size_t start = at;
  while (at < line.size() && isNameByte(line[at])) ++at;
  if (at == start) return false;
  if (at < line.size() && isQuote(line[at])) ++at;
  at = skipBlanks(line, at);
  if (at == line.size()) return false;
  if (line[at] == ':') return at + 1 == line.size() || kBlanks.find(line[at + 1]) != npos;
  return line[at] == '=' && at + 1 < line.size() && line[at + 1] != '=';
}

}  // namespace joinscope
