// The documents and what the daemon says of itself are the same.
#include "velkd/interface_text.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace velkd {
namespace {

TEST(InterfaceText, IsTheOneOfTheProtocolDocument) {
  constexpr std::size_t kIndent = 4;
  std::ifstream document(JOINSCOPE_SOURCE_DIR "/docs/daemon-protocol.md");
  std::string text;
  bool inside = false;
  for (std::string line; std::getline(document, line);) {
    inside = inside || line == "    interface org.orvald.velkd";
    if (inside && !line.empty() && !line.starts_with("    ")) break;
    if (inside) text += (line.empty() ? line : line.substr(kIndent)) + "\n";
  }
  EXPECT_EQ(text, std::string(kInterfaceText) + "\n");
}

}  // namespace
}  // namespace velkd
