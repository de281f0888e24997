// Upper case follows Windows' table, which the C library's is cut down to.
#include "tolk/ntlm/ntlm_text.h"

#include <locale.h>
#include <wctype.h>

#include <cassert>
#include <iterator>
#include <memory>
#include <type_traits>

#include <boost/locale/utf.hpp>

#include "tolk/base/exceptions.h"
#include "tolk/base/handle.h"
#include "tolk/base/text.h"
#include "tolk/net/smb_messages.h"

namespace tolk {
namespace {

using Utf8 = boost::locale::utf::utf_traits<char>;
using Utf16 = boost::locale::utf::utf_traits<char16_t>;
using LocaleHandle = std::unique_ptr<std::remove_pointer_t<locale_t>, Releaser<::freelocale>>;

// Calls `use` with each code point.
template <typename Use>
void forEachCharacter(std::string_view text, const Use& use) {
  if (!isUtf8(text)) throw TOLKException("A name or password for NTLM is not UTF-8 text");
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) use(Utf8::decode(at, end));
}

locale_t unicodeLocale() {
  static const LocaleHandle locale(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr));
  return locale.get();
}

// Windows maps one character to one and, but for the final sigma, only where lower-casing leads
// back: not the micro sign, the dotless i or the long s, which the C library maps too. Georgian has
// capitals since Unicode 11 only, long after that table was fixed.
bool keptByWindows(char32_t character, char32_t upper) {
  constexpr char32_t kFinalSigma = 0x3c2;
  const bool georgian = character >= 0x10d0 && character <= 0x10ff;
  const bool reversible = ::towlower_l(upper, unicodeLocale()) == character;
  return georgian || (!reversible && character != kFinalSigma);
}

char32_t upperCase(char32_t character) {
  if (character < 0x80) return character >= 'a' && character <= 'z' ? character - 32 : character;
  if (unicodeLocale() == nullptr) {
    throw TOLKException("The locale C.UTF-8, needed for names that are not ASCII, is missing");
  }
  const auto upper = static_cast<char32_t>(::towupper_l(character, unicodeLocale()));
  return keptByWindows(character, upper) ? character : upper;
}

}  // namespace

std::size_t toUtf16(std::string_view text, std::span<char> out) {
  assert(out.size() >= 2 * text.size());
  std::size_t used = 0;
  forEachCharacter(text, [&](char32_t character) {
    char16_t units[2] = {};
    const char16_t* const end = Utf16::encode(character, +units);
    for (const char16_t* unit = units; unit != end; ++unit) {
      out[used++] = static_cast<char>(*unit & 0xff);
      out[used++] = static_cast<char>(*unit >> 8);
    }
  });
  return used;
}

std::string toUtf16(std::string_view text) {
  std::string out(2 * text.size(), '\0');
  out.resize(toUtf16(text, out));
  return out;
}

std::optional<std::string> fromUtf16(std::string_view bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  std::u16string units;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    units += static_cast<char16_t>(readLittle(bytes, i, 2));
  }
  std::string out;
  const char16_t* const end = units.data() + units.size();
  for (const char16_t* at = units.data(); at != end;) {
    const auto character = Utf16::decode(at, end);
    if (!boost::locale::utf::is_valid_codepoint(character)) return std::nullopt;
    Utf8::encode(character, std::back_inserter(out));
  }
  return out;
}

std::string ntlmUpperCase(std::string_view text) {
  std::string out;
  forEachCharacter(text, [&out](char32_t character) {
    Utf8::encode(upperCase(character), std::back_inserter(out));
  });
  return out;
}

AccountName splitAccountName(const std::string& account, const std::string& defaultDomain) {
  if (const auto slash = account.find('\\'); slash != std::string::npos) {
    return {account.substr(0, slash), account.substr(slash + 1)};
  }
  if (account.find('@') != std::string::npos) return {{}, account};
  return {defaultDomain, account};
}

}  // namespace tolk
