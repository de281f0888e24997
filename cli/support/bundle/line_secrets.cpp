// One pass from name to name; what a name's value is, secret_value.cpp says.
#include "cli/support/bundle/line_secrets.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "cli/support/bundle/secret_names.h"
#include "cli/support/bundle/secret_value.h"
#include "tolk/base/text.h"

namespace joinscope {
namespace {

constexpr std::size_t npos = std::string_view::npos;

// How far ahead of a mark its end is looked for, so that a long line of marks costs no square.
constexpr std::size_t kAhead = 4096;

// What can stand before a secret.
constexpr auto kMarks = [] {
  std::array<bool, 256> marks{};
  for (const char byte : {':', '=', '<', '>', '-'}) marks[static_cast<unsigned char>(byte)] = true;
  return marks;
}();

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::ranges::any_of(
      words, [text](std::string_view word) { return tolk::equalsIgnoringCase(text, word); });
}

// The user part of a URL whose "://" is at `at` (RFC 3986, 3.2.1), from its password on; empty
// bounds when it has none. A password with a slash counts, though it ought to be escaped.
std::pair<std::size_t, std::size_t> urlSecret(std::string_view line, std::size_t at) {
  constexpr std::size_t kTokenLength = 20;  // a user without a password, as long as no user's name
  const std::size_t start = at + 3;
  const std::string_view ahead = line.substr(start, kAhead);
  if (ahead.find('@') == npos) return {};
  const std::string_view token = ahead.substr(0, ahead.find_first_of(" \t\"'<>`"));
  if (token.starts_with('[')) return {};
  const std::string_view authority = token.substr(0, token.find_first_of("/?#"));
  std::size_t end = authority.rfind('@');
  const std::size_t colon = token.find(':');
  if (end == npos && colon < authority.size() &&
      authority.find_first_not_of("0123456789", colon + 1) != npos) {
    end = token.rfind('@');
  }
  if (end == npos) return {};
  if (colon < end) return {start + colon + 1, start + end};
  if (end < kTokenLength) return {};
  return {start, start + end};
}

/// One pass over a line.
class LineScan {
 public:
  LineScan(std::string_view line, bool valueIsNext, std::string& out)
      : line_(line), out_(out), named_(valueIsNext) {}

  OpenSecret run() {
    std::size_t at = wordAndValue();
    while (at < line_.size())
      at = kMarks[static_cast<unsigned char>(line_[at])] ? step(at) : at + 1;
    out_ += line_.substr(copied_);
    open_.valueIsNext = named_ && namedHere_;
    return open_;
  }

 private:
  std::size_t step(std::size_t at) {
    switch (line_[at]) {
      case '<':
        return element(at);
      case '>':
        return at == elementEnd_ || (named_ && isMarkup_) ? content(at + 1) : at + 1;
      case '-':
        return line_.substr(at).starts_with("-----BEGIN ") ? key(at) : option(at);
      default:
        return pair(at);
    }
  }

  // Everything from `start` to `end` is a secret. Where to go on.
  std::size_t replace(std::size_t start, std::size_t end) {
    if (isPlainFact(line_.substr(start, end - start))) return end;
    out_ += line_.substr(copied_, start - copied_);
    out_ += kLeftOut;
    copied_ = end;
    return end;
  }

  std::size_t replace(const SecretValue& value) {
    const std::string_view text = line_.substr(value.start, value.end - value.start);
    if (!text.empty() && isPlainFact(text)) return value.next;
    if (!text.empty()) replace(value.start, value.end);
    open_ = value.open;
    return value.next;
  }

  // `name: value` and its like, with the separator at `at`.
  std::size_t pair(std::size_t at) {
    if (line_.substr(at).starts_with("://")) {
      const auto [start, end] = urlSecret(line_, at);
      return start < end ? replace(start, end) : at + 3;
    }
    const NameInFront name = nameInFront(line_, at);
    const std::size_t value = behindSeparator(line_, at);
    if (name.text.empty()) return value;
    if (isSecretName(name.words)) return replace(findValue(line_, value, name));
    if (isOneOf(name.text, {"name", "key", "id"})) {
      named_ = namedHere_ = isSecretName(firstWord(line_.substr(value)));
      return value;
    }
    const bool isNamed = named_ && isOneOf(name.text, {"value", "val", "content"});
    if (!isNamed && !isSecretName(name.text)) return value;
    if (isNamed) named_ = false;
    if (name.isPath) return value;
    if (!name.insideLine && isNameServiceEntry(name.text, line_.substr(value))) return value;
    return replace(findValue(line_, value, name));
  }

  // `<name>` and what it encloses.
  std::size_t element(std::size_t at) {
    std::size_t end = at + 1;
    while (end < line_.size() && isNameByte(line_[end])) ++end;
    if (end == at + 1) return end;
    isMarkup_ = true;
    std::string_view name = line_.substr(at + 1, end - at - 1);
    if (end < line_.size() && line_[end] == ':') {  // RFC 3688 and its like: a prefix
      const std::size_t start = ++end;
      while (end < line_.size() && isNameByte(line_[end])) ++end;
      name = line_.substr(start, end - start);
    }
    if (!isSecretName(name)) return end;
    const std::size_t close = line_.substr(0, end + kAhead).find('>', end);
    if (close != npos && line_[close - 1] != '/') elementEnd_ = close;
    return end;
  }

  std::size_t content(std::size_t start) {
    constexpr std::string_view kRaw = "<![CDATA[";
    named_ = false;
    if (tolk::trim(line_.substr(start)).empty()) {
      open_ = {.until = OpenSecret::Until::tag, .begun = false};
      return start;
    }
    const bool raw = line_.substr(start).starts_with(kRaw);
    if (raw) start += kRaw.size();
    const std::size_t end = line_.find(raw ? "]]>" : "<", start);
    if (end == npos) open_ = {.until = OpenSecret::Until::tag};
    return end == start ? start : replace(start, std::min(end, line_.size()));
  }

  // `--name value`, `-name value`
  std::size_t option(std::size_t at) {
    if (at > 0 && line_[at - 1] != ' ') return at + 1;
    std::size_t end = at;
    while (end < line_.size() && isNameByte(line_[end])) ++end;
    if (end == line_.size() || line_[end] != ' ' || !isSecretName(line_.substr(at, end - at))) {
      return end;
    }
    const std::size_t value = line_.find_first_not_of(' ', end);
    if (value == npos || line_[value] == '-') return end;
    return replace(findValue(line_, value, {.text = {}, .insideLine = true}));
  }

  // What stands between the marks of a key on one line.
  std::size_t key(std::size_t at) {
    constexpr std::string_view kMark = "-----";
    const std::size_t label = at + kMark.size();
    const std::size_t start = line_.find(kMark, label);
    if (start == npos || line_.substr(label, start - label).find("PRIVATE KEY") == npos)
      return label;
    const std::size_t body = start + kMark.size();
    const std::size_t end = std::min(line_.find(kMark, body), line_.size());
    // Without its end it may be prose about keys.
    const std::string_view rest = tolk::trim(line_.substr(body, end - body));
    if (rest.empty() || (end == line_.size() && rest.find(' ') != npos)) return body;
    return replace(body, end);
  }

  // `bindpw value` at the start of a line. A word like password is a name there only in lower case
  // and before a single word that is no control of pam.conf(5).
  std::size_t wordAndValue() {
    const std::size_t start = std::min(line_.find_first_not_of(" \t#;"), line_.size());
    std::size_t end = start;
    while (end < line_.size() && isNameByte(line_[end])) ++end;
    const std::string_view word = line_.substr(start, end - start);
    if (isOneOf(word, {"machine", "default", "login"})) return netrc(end);
    const std::size_t value = line_.find_first_not_of(" \t", end);
    if (value == npos || value == end || std::string_view("=:").find(line_[value]) != npos ||
        !isSecretName(word)) {
      return start;
    }
    const std::string_view rest = tolk::trim(line_.substr(value));
    const bool certain = isOneOf(word, {"bindpw", "rootbindpw", "rootpw", "requirepass"});
    const bool prose = std::islower(static_cast<unsigned char>(word.front())) == 0;
    if (!certain && (prose || rest.find_first_of(" \t") != npos || rest.starts_with('[') ||
                     isOneOf(rest, {"required", "requisite", "sufficient", "optional"}))) {
      return start;
    }
    SecretValue found = findValue(line_, value, {.text = word});
    if (found.open.until == OpenSecret::Until::indent) found.open = {};
    return replace(found);
  }

  // `machine host login user password value`, as ftp(1) reads it.
  std::size_t netrc(std::size_t at) {
    constexpr std::string_view kName = " password ";
    const std::size_t name = line_.find(kName, at);
    if (name == npos) return at;
    return replace(findValue(line_, name + kName.size(), {.text = {}, .insideLine = true}));
  }

  std::string_view line_;
  std::string& out_;
  std::size_t copied_ = 0;
  bool isMarkup_ = false;          // an element has begun
  std::size_t elementEnd_ = npos;  // of the opening tag of a secret
  bool named_;                     // a `name` member said that the `value` member is a secret
  bool namedHere_ = false;
  OpenSecret open_;
};

}  // namespace

OpenSecret redactLine(std::string_view line, bool valueIsNext, std::string& out) {
  return LineScan(line, valueIsNext, out).run();
}

void redactUrls(std::string_view line, std::string& out) {
  std::size_t copied = 0;
  for (std::size_t at = 0; (at = line.find("://", at)) != npos; at += 3) {
    const auto [start, end] = urlSecret(line, at);
    if (start >= end) continue;
    out += line.substr(copied, start - copied);
    out += kLeftOut;
    copied = end;
  }
  out += line.substr(copied);
}

}  // namespace joinscope
