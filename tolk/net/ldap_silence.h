// How long servers have left questions about the directory unanswered: a silence that was waited
// out once is not waited out again. Sessions have a silence of their own: a server may answer
// single questions and none of those that come by a session.
#pragma once

#include <netinet/in.h>

#include <chrono>

namespace tolk {

enum class Transport { udp, tcp };

/// The longest unbroken silence of this address and port that a question of this process has met;
/// zero after an answer, and after five minutes.
std::chrono::milliseconds knownSilence(Transport transport, const sockaddr_in& address);

/// What is left of `limit` for one more question: never less than half a second of it, so that a
/// server that has come back is heard.
std::chrono::milliseconds remainingLimit(Transport transport, const sockaddr_in& address,
                                         std::chrono::milliseconds limit);

/// One question, as long as this lives; without heard() its time counts as silence.
class SilenceWatch {
 public:
  SilenceWatch(Transport transport, const sockaddr_in& address);
  SilenceWatch(const SilenceWatch&) = delete;
  SilenceWatch& operator=(const SilenceWatch&) = delete;
  ~SilenceWatch();

  /// An answer, or word that there will be none.
  void heard();
  /// The silence up to now, with that of earlier questions.
  [[nodiscard]] std::chrono::milliseconds time() const;

 private:
  Transport transport_;
  sockaddr_in address_;
  std::chrono::milliseconds before_;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
  bool heard_ = false;
};

/// What is left of `limit` for the first answer of a new session with this address, as
/// remainingLimit() has it.
std::chrono::milliseconds remainingSessionLimit(const sockaddr_in& address,
                                                std::chrono::milliseconds limit);

/// A session has waited for its first answer in vain. Known for half a minute from the first such
/// word on, so that a server that was only slow soon has its whole limit again.
void noteSessionSilence(const sockaddr_in& address, std::chrono::milliseconds time);

/// A session's first answer has come.
void noteSessionAnswer(const sockaddr_in& address);

}  // namespace tolk
