// Line by line, with what the lines before have opened: a key's armour, a value that goes on, a
// part of the report that joinscope wrote itself.
#include "cli/support/bundle/redactor.h"

#include <algorithm>
#include <cctype>

#include "tolk/base/property_names.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

using Until = OpenSecret::Until;

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t kLongestLine = std::size_t{1} << 20;
constexpr int kMostOpenLines = 100;  // a quotation mark that nothing closes hides no whole file

// Whether a line opens the armour of a private key that it does not close (RFC 7468, RFC 4880 6.2).
bool opensKey(std::string_view line) {
  const std::size_t mark = line.find("-----BEGIN ");
  if (mark == npos) return false;
  const std::size_t end = line.find("-----", mark + 1);
  return line.substr(mark, end == npos ? npos : end + 1 - mark).find("PRIVATE KEY") != npos &&
         line.find("-----END ") == npos;
}

// A line of base64 or a header, with what the text round the key puts before and behind it.
bool isKeyBody(std::string_view line) {
  if (line.find(": ") != npos) {
    return std::ranges::any_of(
        std::initializer_list<std::string_view>{"Proc-Type", "DEK-Info", "Version", "Comment"},
        [line](std::string_view name) { return line.find(name) != npos; });
  }
  return std::ranges::all_of(line, [](char byte) {
    return std::isalnum(static_cast<unsigned char>(byte)) != 0 ||
           std::string_view("+/=\\\"', \t#*-").find(byte) != npos;
  });
}

bool isKnownProperty(std::string_view line) {
  const std::string_view key = tolk::trim(line.substr(0, line.find(':')));
  return std::ranges::any_of(tolk::kProperties, [key](const tolk::Property* property) {
    return tolk::equalsIgnoringCase(property->key, key);
  });
}

// Where to cut a line that is too long: behind the last thing that ends a member.
std::size_t cutOf(std::string_view line) {
  const std::size_t member = line.find_last_of(",;}&");
  const std::size_t end = member != npos ? member : line.find_last_of(" \t");
  return end != npos ? end + 1 : line.size();
}

}  // namespace

void Redactor::take(std::string_view bytes, std::string& out) {
  while (!bytes.empty()) {
    if (partial_.empty() && bytes.front() == '\0') {  // holes of sparse files
      const std::size_t count = std::min(bytes.find_first_not_of('\0'), bytes.size());
      out += bytes.substr(0, count);
      bytes.remove_prefix(count);
      continue;
    }
    const auto isEnd = [](char byte) { return byte == '\n' || byte == '\0'; };
    const auto end = static_cast<std::size_t>(std::ranges::find_if(bytes, isEnd) - bytes.begin());
    if (end < bytes.size() && end + partial_.size() <= kLongestLine) {
      if (partial_.empty()) {
        line(bytes.substr(0, end), out);
      } else {
        line(partial_.append(bytes.substr(0, end)), out);
        partial_.clear();
      }
      out += bytes[end];
      bytes.remove_prefix(end + 1);
      continue;
    }
    const std::size_t count = std::min(bytes.size(), kLongestLine - partial_.size());
    partial_ += bytes.substr(0, count);
    bytes.remove_prefix(count);
    if (partial_.size() < kLongestLine) return;
    const std::size_t cut = cutOf(partial_);
    line(std::string_view(partial_).substr(0, cut), out);
    partial_.erase(0, cut);
  }
}

void Redactor::finish(std::string& out) {
  if (!partial_.empty()) line(partial_, out);
  partial_.clear();
}

void Redactor::line(std::string_view text, std::string& out) {
  const bool carriageReturn = text.ends_with('\r');
  if (carriageReturn) text.remove_suffix(1);
  if (isOwnLine(text)) {
    out += text;
  } else if (!insideKey(text, out) && !goesOn(text, out)) {
    const bool known = kind_ == TextKind::properties && isKnownProperty(text);
    insideKey_ = opensKey(text);
    if (known) {
      redactUrls(text, out);
    } else {
      open_ = redactLine(text, open_.valueIsNext, out);
    }
    openLines_ = 0;
  }
  if (carriageReturn) out += '\r';
}

// The report begins with what joinscope found out itself, and its configuration; then come files,
// output of commands and the log. Each heading counts once, so none of those can turn back.
bool Redactor::isOwnLine(std::string_view text) {
  if (kind_ != TextKind::report) {
    if (kind_ == TextKind::properties && text == "/etc/hosts:") kind_ = TextKind::plain;
    return false;
  }
  if (text == "Configuration:") kind_ = TextKind::properties;
  if (text == "/etc/hosts:") kind_ = TextKind::plain;
  return true;
}

bool Redactor::insideKey(std::string_view text, std::string& out) {
  if (!insideKey_) return false;
  const std::size_t end = text.find("-----END ");
  insideKey_ = end == npos && isKeyBody(text);
  if (insideKey_) {
    out += kLeftOut;
  } else if (end != npos) {
    out += text.substr(end);
  }
  return insideKey_ || end != npos;
}

bool Redactor::goesOn(std::string_view text, std::string& out) {
  switch (open_.until) {
    case Until::here:
      return false;
    case Until::indent:
      return goesOnIndented(text, out);
    case Until::quote:
      return goesOnTo(text.find(open_.mark), 1, text, out);
    case Until::bracket:
      return goesOnTo(text.find(']'), 0, text, out);
    case Until::tag:
      if (!open_.begun && tolk::trim(text).starts_with('<')) return open_ = {}, false;
      return goesOnTo(text.find("</"), 0, text, out);
    case Until::backslash:
      break;
  }
  if (!open_.begun && isNameAndValue(text)) return open_ = {}, false;
  out += text.substr(0, indentOf(text));
  out += kLeftOut;
  if (text.ends_with('\\')) {
    out += '\\';
  } else {
    open_ = {};
  }
  return true;
}

// The line is a secret up to `end`, which is npos when all of it is; what is `next` bytes behind
// that is a line of its own.
bool Redactor::goesOnTo(std::size_t end, std::size_t next, std::string_view text,
                        std::string& out) {
  if (++openLines_ > kMostOpenLines) return open_ = {}, false;
  open_.begun = true;
  const std::size_t start = std::min(indentOf(text), end);
  out += text.substr(0, start);
  if (start < std::min(end, text.size())) out += kLeftOut;
  if (end == npos) return true;
  out += text.substr(end, next);
  open_ = redactLine(text.substr(end + next), false, out);
  return true;
}

bool Redactor::goesOnIndented(std::string_view text, std::string& out) {
  std::size_t start = indentOf(text);
  const std::string_view content = text.substr(start);
  if (content.empty()) return out += text, true;
  const bool isItem = content.starts_with("- ");
  const bool isString = content.starts_with('"') || content.starts_with('\'');
  const bool deeper =
      start > open_.indent || (!open_.begun && ((isItem && start == open_.indent) || isString));
  const bool isStructure = content.find_first_of("{[<") == 0;
  if (!deeper || isNameAndValue(text) || (!open_.begun && isStructure)) return open_ = {}, false;
  open_.begun = true;
  if (isItem || isString) start += isItem ? 2 : 1;
  out += text.substr(0, start);
  out += kLeftOut;
  const std::size_t end = isString ? text.find(content.front(), start) : npos;
  if (end != npos) out += text.substr(end);
  return true;
}

}  // namespace joinscope
