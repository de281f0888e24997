// A name is squeezed to its letters and known by its ending.
#include "cli/support/bundle/secret_names.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string>

namespace joinscope {
namespace {

// How names of secrets end, without what stands between their words.
constexpr std::array<std::string_view, 34> kEndings{
    "password",   "passwords",     "passwd",      "passphrase",
    "passcode",   "pwd",           "pass",        "pw",
    "psk",        "secret",        "secrets",     "token",
    "credential", "credentials",   "creds",       "cookie",
    "apikey",     "privatekey",    "secretkey",   "accesskey",
    "sharedkey",  "presharedkey",  "masterkey",   "authkey",
    "accountkey", "sessionkey",    "signingkey",  "encryptionkey",
    "authtok",    "authorization", "requirepass", "authorizations",
    "licensekey", "passwort"};

// What ends in the same way and is none: a service, a tag of sudoers(5), a program, a word.
constexpr std::array<std::string_view, 7> kHarmless{"kpasswd", "nopasswd", "nopass",  "askpass",
                                                    "bypass",  "compass",  "trespass"};

// What may follow and still is the secret, in some form: password_hash, secretBase64.
constexpr std::array<std::string_view, 11> kForms{"hash",      "value",  "text",     "data",
                                                  "hex",       "base64", "enc",      "old",
                                                  "encrypted", "new",    "plaintext"};

constexpr std::size_t kLetters = 26;

// The last two letters of a name as a number below kLetters * kLetters, or that for none.
constexpr std::size_t lastLetters(std::string_view name) {
  std::size_t last = kLetters;
  for (std::size_t at = name.size(); at > 0; --at) {
    const auto letter = static_cast<std::size_t>((name[at - 1] | 0x20) - 'a');
    if (letter >= kLetters) continue;
    if (last < kLetters) return letter * kLetters + last;
    last = letter;
  }
  return kLetters * kLetters;
}

// Tells most names apart without a look at the tables.
constexpr auto kLastLetters = [] {
  std::array<bool, kLetters * kLetters + 1> known{};
  for (const std::string_view ending : kEndings) known[lastLetters(ending)] = true;
  for (const std::string_view form : kForms) known[lastLetters(form)] = true;
  return known;
}();

template <typename Table>
std::size_t endingOf(std::string_view name, const Table& endings) {
  for (const std::string_view ending : endings) {
    if (name.ends_with(ending)) return ending.size();
  }
  return 0;
}

// In lower case, letters and digits only, without a number at the end.
std::string squeezed(std::string_view name) {
  std::string text;
  for (const char byte : name) {
    const auto letter = static_cast<unsigned char>(byte);
    if (std::isalnum(letter) != 0) text += static_cast<char>(std::tolower(letter));
  }
  while (!text.empty() && std::isdigit(static_cast<unsigned char>(text.back())) != 0) {
    if (text.ends_with("base64")) break;
    text.pop_back();
  }
  return text;
}

}  // namespace

bool isSecretName(std::string_view name) {
  if (!kLastLetters[lastLetters(name)]) return false;
  // The working directory, now and before (sh(1)).
  if (name == "PWD" || name == "OLDPWD") return false;
  std::string text = squeezed(name);
  if (endingOf(text, kEndings) == 0) text.resize(text.size() - endingOf(text, kForms));
  return endingOf(text, kEndings) != 0 && endingOf(text, kHarmless) == 0;
}

}  // namespace joinscope
