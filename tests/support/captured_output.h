// What a test writes to std::cout or std::cerr, as a string.
#pragma once

#include <ostream>
#include <sstream>
#include <string>

namespace joinscope::test {

/// Takes over a stream for the scope.
class CapturedOutput {
 public:
  explicit CapturedOutput(std::ostream& stream)
      : stream_(stream), buffer_(stream.rdbuf(text_.rdbuf())) {}
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput() { stream_.rdbuf(buffer_); }

  [[nodiscard]] std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::ostream& stream_;
  std::streambuf* buffer_;
};

}  // namespace joinscope::test
