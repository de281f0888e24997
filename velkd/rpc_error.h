// An error answer of the daemon channel.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace velkd {

/// Thrown while a call is answered; becomes its answer.
class RpcError : public std::exception {
 public:
  /// `name` is one of tolk::daemon_error; `message` is one sentence for people, in the parameter
  /// called `parameter`.
  RpcError(std::string_view name, std::string message, std::string_view parameter = "message")
      : name_(name), message_(std::move(message)), parameter_(parameter) {}

  [[nodiscard]] std::string_view name() const noexcept { return name_; }
  [[nodiscard]] std::string_view parameter() const noexcept { return parameter_; }
  [[nodiscard]] const std::string& message() const noexcept { return message_; }
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string_view name_;
  std::string message_;
  std::string_view parameter_;
};

}  // namespace velkd
