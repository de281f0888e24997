// The C interface to the agent daemon. Nothing is thrown through it: every call returns a code.
#pragma once

/// Results of the calls below.
struct OrvCode {
  static constexpr int kSuccess = 0;
  static constexpr int kFailed = 1;           ///< none of the others
  static constexpr int kNoDaemon = 6;         ///< the daemon cannot be reached
  static constexpr int kNoMemory = 12;        ///< memory is exhausted
  static constexpr int kBadArgument = 22;     ///< a null pointer, or a version that is not known
  static constexpr int kBroken = 32;          ///< the conversation broke off or timed out
  static constexpr int kStillGathering = 41;  ///< the daemon does not know the answer yet
  static constexpr int kRefused = 42;         ///< the daemon answered with an error
};

/// A session with the daemon.
struct OrvSession;

/// One pair of a set. A set is an array that ends with a pair whose key is null.
struct OrvKeyValue {
  char* key;
  char* value;
};

extern "C" {

/// Opens a session with the daemon and stores it in `*session`. `version` is that of this
/// interface, 1; `client` is a number by which a program names itself in the log. On failure
/// `*session` is null.
int orvSessionOpen(int version, int client, OrvSession** session) noexcept;

/// Stores the identifier ranges of the forest's domains in `*set`, by the domain's name in upper
/// case; free it with orvFreeKeyValueSet(). On failure `*set` is null. After kStillGathering and
/// kRefused the session may be used further.
int orvGetDomainRids(OrvSession* session, OrvKeyValue** set) noexcept;

/// Closes a session; null is allowed.
void orvSessionClose(OrvSession* session) noexcept;

/// Frees a set; null is allowed.
void orvFreeKeyValueSet(OrvKeyValue* set) noexcept;

/// A sentence about a code: for kRefused the daemon's own, if it gave one to this thread's last
/// call. Valid until the thread's next call.
const char* orvGetOrvCodeStr(int code) noexcept;

}  // extern "C"
