// The exception family of the agent library. Siblings under Base_Exception: catch clauses choose by
// kind, and none of these kinds is a special case of another, so their order never changes what a
// clause sees.
#pragma once

#include <exception>
#include <string>

#include "tolk/base/source_location.h"

namespace tolk {

/// Root of every failure that the agent library reports: a message for people, a numeric code whose
/// meaning belongs to the kind (errno, a Kerberos or LDAP result), and the place that raised it.
class Base_Exception : public std::exception {
 public:
  /// `message` must never hold a secret: it is printed and logged as it stands.
  explicit Base_Exception(std::string message, int code = -1,
                          SourceLocation where = SourceLocation::current());
  /// For a place that is known by another name than its source file's, and a kind by another name
  /// than its class's. Both texts must live as long as the program.
  Base_Exception(std::string message, int code, const char* file, const char* typeName,
                 SourceLocation where = SourceLocation::current());

  /// The message alone, never code, file or line.
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }
  [[nodiscard]] int code() const noexcept { return code_; }
  [[nodiscard]] const char* file() const noexcept { return file_; }
  [[nodiscard]] unsigned line() const noexcept { return line_; }
  /// "" unless the constructor was given a name.
  [[nodiscard]] const char* typeName() const noexcept { return typeName_; }

 private:
  std::string message_;
  int code_;
  const char* file_;
  const char* typeName_;
  unsigned line_;
};

/// A file, socket or setting could not be read; code is errno where the system gave one, else -1.
class IOException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// Talking to the daemon failed after the session was open. Not an IOException: a daemon that
/// answers badly is running, one that cannot be reached may not be.
class IPCException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// Something that was looked for does not exist.
class NotFoundException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// Data that was read is not in its format.
class BadDataException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// An attribute of a directory entry is missing or not of the asked type.
class SystemException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// No answer within the configured limit.
class TimeoutException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// No DNS server answered in time, or none could be reached; an answer "no such record" is not
/// this.
class DNSUnavailableException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// Controller discovery, join settings and other services of the agent failed.
class TOLKException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// A directory binding was refused; codes in BindError.
class BaseException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// The directory or the LDAP library reported a failure; code is the LDAP result code (RFC
/// 4511, 4.1.9; negative for the client library's own).
class LDAPException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// A failure of a security layer.
class KELPException : public Base_Exception {
  using Base_Exception::Base_Exception;
};

/// A failure with a Kerberos error code (com_err numbering, for example -1765328360).
class KerberosException : public KELPException {
  using KELPException::KELPException;
};

/// Codes of BaseException.
struct BindError {
  static constexpr int kInvalidCredentials = 1001;  ///< wrong user or password
  static constexpr int kUnknownUser = 1004;         ///< the user does not exist
  static constexpr int kJoinedToOtherDomain =
      1016;  ///< the machine account belongs to another domain
  static constexpr int kCredentialsUnusable = 1030;  ///< good for the KDC, refused by the server
};

}  // namespace tolk
