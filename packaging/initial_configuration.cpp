// initial_configuration FILE: writes the orvald.conf that is installed: every property as a comment
// with its default, below what it does.
#include <fstream>
#include <sstream>
#include <string>

#include "tolk/base/property_names.h"

namespace {

constexpr std::size_t kColumns = 79;

// A comment of as many lines as it takes.
void writeComment(std::ostream& out, const std::string& text) {
  std::istringstream words(text);
  std::string line = "#";
  for (std::string word; words >> word;) {
    if (line.size() + 1 + word.size() > kColumns) {
      out << line << '\n';
      line = "#";
    }
    line += ' ' + word;
  }
  out << line << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::ofstream out(argv[1]);
  writeComment(
      out,
      "Configuration of the agent daemon velkd and of joinscope; orvald.conf(5) tells more. A "
      "property that is not set has the default that stands here. 'velkd reload' has the daemon "
      "read this file again, 'joinscope --config' shows it as it was understood.");
  for (const tolk::Property* property : tolk::kProperties) {
    out << '\n';
    writeComment(out, std::string(property->meaning) + " (" + std::string(property->unit) + ')');
    out << '#' << property->key << ':' << (property->value.empty() ? "" : " ") << property->value
        << '\n';
  }
  out << '\n';
  writeComment(
      out,
      "Domain controllers and global catalog servers of a domain, for when DNS does not name them: "
      "host names separated by blanks or commas, each with an optional :port.");
  out << "#dns.dc.example.com: dc1.example.com, dc2.example.com:389\n"
         "#dns.gc.example.com: dc1.example.com\n";
  return out.flush() ? 0 : 1;
}
