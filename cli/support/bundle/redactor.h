// Takes secrets out of a text. No file, no clock, no configuration: what comes out depends on the
// text alone.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "cli/support/bundle/line_secrets.h"

namespace joinscope {

/// Who wrote a text decides what in it can be a secret.
enum class TextKind {
  plain,       ///< anybody: names decide
  properties,  ///< orvald.conf(5): what the table of properties knows is no secret
  report,      ///< the support report: joinscope up to the first file that it shows, then anybody
};

/// A text comes in pieces of any size and goes out line by line.
class Redactor {
 public:
  explicit Redactor(TextKind kind) : kind_(kind) {}

  /// Takes the next bytes; appends the lines that are whole to `out`. A line ends with a line feed
  /// or a NUL. One of more than a mebibyte is worked on in parts.
  void take(std::string_view bytes, std::string& out);
  /// Appends what is left at the end of the text.
  void finish(std::string& out);

 private:
  void line(std::string_view text, std::string& out);
  bool isOwnLine(std::string_view text);
  bool insideKey(std::string_view text, std::string& out);
  bool goesOn(std::string_view text, std::string& out);
  bool goesOnTo(std::size_t end, std::size_t next, std::string_view text, std::string& out);
  bool goesOnIndented(std::string_view text, std::string& out);

  TextKind kind_;
  std::string partial_;
  OpenSecret open_;
  int openLines_ = 0;
  bool insideKey_ = false;
};

}  // namespace joinscope
