// A user name with its secret, kept in a file that only root can read.
#pragma once

#include <string>
#include <string_view>

#include "tolk/base/shredder.h"

namespace tolk {

/// The file is a JSON object {"user": TEXT, "secret": TEXT} of mode 0600. The secret is in locked
/// memory only, from the file to the caller.
class ProtectedCredential {
 public:
  /// The credential of that name: the file /var/orvald/NAME.cred.
  explicit ProtectedCredential(const std::string& name);
  /// The credential in a given file.
  static ProtectedCredential at(std::string path);

  /// Reads the file. One that does not exist is a failure only if it `mustExist`; false comes back
  /// otherwise. Throws IOException when it cannot be read or is not owned by root with no access
  /// for others, and BadDataException when it is malformed. The messages end with ". ", ready for
  /// a sentence behind them.
  bool loadFromFile(bool mustExist);
  /// Replaces the file, at once and as a whole. Throws IOException.
  void saveToFile(const std::string& user, std::string_view secret);
  /// Removes the file; false when there is none. Throws IOException.
  bool removeFile();

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const std::string& user() const noexcept { return user_; }
  [[nodiscard]] const Shredder& getSecret() const noexcept { return secret_; }

 private:
  ProtectedCredential() = default;

  std::string path_;
  std::string user_;
  Shredder secret_;
};

}  // namespace tolk
