// The search for secrets in texts against arbitrary bytes. Besides not crashing, what comes out
// must not depend on the pieces that go in, and must have as many lines.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cli/support/bundle/redactor.h"
#include "cli/support/bundle/secret_files.h"

namespace {

using joinscope::TextKind;

void require(bool holds) {
  if (!holds) std::abort();
}

std::string redacted(TextKind kind, std::string_view text, std::size_t piece) {
  joinscope::Redactor redactor(kind);
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += piece)
    redactor.take(text.substr(at, piece), out);
  redactor.finish(out);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)joinscope::recogniseFile(text);
  for (const TextKind kind : {TextKind::plain, TextKind::properties, TextKind::report}) {
    const std::string out = redacted(kind, text, size + 1);
    require(out == redacted(kind, text, 3));
    for (const char end : {'\n', '\0'}) {
      require(std::ranges::count(out, end) == std::ranges::count(text, end));
    }
  }
  return 0;
}
