// The command line of velkd.
#include "velkd/options.h"

#include <getopt.h>

#include <array>
#include <span>
#include <string_view>

#include "tolk/base/text.h"
#include "tolk/zones/zone_schema.h"

namespace velkd {

const char* const kUsage = R"(Usage: velkd
       velkd adopt [--domain DOMAIN] [--auto-zone | --null-zone | --zone DN [--schema NAME]]
       velkd unadopt
       velkd proxy-credential set USER | clear
       velkd mfa USER [--command TEXT]
       velkd reload
       velkd --help | --version

Without a word velkd is the agent daemon and stays in the foreground.

  adopt       make the join of this host, which another tool has joined to its domain, known to the agent
  unadopt     set the agent's join settings aside; the join itself stays
  proxy-credential set USER
              store the user for the web proxy; the password is asked for, or read from standard input when that
              is no terminal. USER S-1-5-18 is the computer account and has no password
  proxy-credential clear
              forget that user
  mfa USER    authenticate USER at the cloud platform by the way of the daemon, and say how it went; with --command
              for that privileged command, else for a login
  reload      have the running daemon read its configuration again and open its log anew

  --domain DOMAIN   the domain to take when the keytab has accounts of several
  --auto-zone       this host is in no zone of its own (the default)
  --null-zone       this host uses no zones
  --zone DN         the zone of this host, a distinguished name
  --schema NAME     the layout of that zone: orv_v1_0, orv_v2_0, orv_r2, sfu_v3_0 or sfu_v3_0v1
)";

namespace {

enum Letter { kDomain = 1, kZone, kSchema, kAutoZone, kNullZone, kCommand, kHelp, kVersion };

constexpr std::array kLong{
    option{"domain", required_argument, nullptr, kDomain},
    option{"zone", required_argument, nullptr, kZone},
    option{"schema", required_argument, nullptr, kSchema},
    option{"auto-zone", no_argument, nullptr, kAutoZone},
    option{"null-zone", no_argument, nullptr, kNullZone},
    option{"command", required_argument, nullptr, kCommand},
    option{"help", no_argument, nullptr, kHelp},
    option{"version", no_argument, nullptr, kVersion},
    option{nullptr, 0, nullptr, 0},
};

struct Reader {
  Options options;
  bool forAdopt = false;  // an option was given that only adopt takes
  int zoneOptions = 0;

  void chooseZone(ZoneChoice choice) {
    options.zoneChoice = choice;
    ++zoneOptions;
  }

  void take(int letter) {
    forAdopt = forAdopt || letter < kCommand;
    switch (letter) {
      case kDomain:
        options.domain = optarg;
        break;
      case kZone:
        options.zone = optarg;
        chooseZone(ZoneChoice::named);
        break;
      case kSchema:
        options.schema = optarg;
        break;
      case kAutoZone:
        chooseZone(ZoneChoice::automatic);
        break;
      case kNullZone:
        chooseZone(ZoneChoice::none);
        break;
      case kCommand:
        options.command = optarg;
        break;
      case kHelp:
        options.action = Action::help;
        break;
      case kVersion:
        options.action = Action::version;
        break;
      default:
        options.problem = "unknown option, or an option without its argument";
        break;
    }
  }

  void takeWords(std::span<char*> words) {
    if (words.empty()) return;
    const std::string_view word = words[0];
    std::size_t expected = 1;
    if (word == "adopt") options.action = Action::adopt;
    if (word == "unadopt") options.action = Action::unadopt;
    if (word == "reload") options.action = Action::reload;
    if (word == "proxy-credential") expected = takeProxyCredential(words);
    if (word == "mfa") expected = takeMfa(words);
    if (options.action == Action::daemon && options.problem.empty())
      options.problem = "unknown word '" + tolk::printable(word) + "'";
    if (words.size() > expected && options.problem.empty()) options.problem = "too many words";
  }

  // Returns the number of words that belong to it, as the next one does.
  std::size_t takeMfa(std::span<char*> words) {
    options.action = Action::mfa;
    if (words.size() > 1) options.user = words[1];
    if (options.user.empty()) options.problem = "mfa takes a user";
    return 2;
  }

  std::size_t takeProxyCredential(std::span<char*> words) {
    const std::string_view verb = words.size() > 1 ? words[1] : "";
    if (verb == "clear") {
      options.action = Action::clearProxyCredential;
      return 2;
    }
    options.action = Action::setProxyCredential;
    if (verb == "set" && words.size() > 2 && *words[2] != '\0') {
      options.user = words[2];
    } else {
      options.problem = "proxy-credential takes 'set USER' or 'clear'";
    }
    return 3;
  }

  [[nodiscard]] std::string problem() const {
    if (!options.problem.empty()) return options.problem;
    if (forAdopt && options.action != Action::adopt) return "that option goes with adopt";
    if (!options.command.empty() && options.action != Action::mfa) return "--command goes with mfa";
    if (zoneOptions > 1) return "only one zone may be chosen";
    const bool named = options.zoneChoice == ZoneChoice::named;
    if (named && options.zone.empty()) return "--zone needs a distinguished name";
    if (options.schema.empty()) return {};
    if (!named) return "--schema goes with --zone";
    return tolk::isZoneLayout(options.schema)
               ? ""
               : "there is no schema '" + tolk::printable(options.schema) + "'";
  }
};

}  // namespace

Options parseOptions(int argc, char** argv) {
  Reader reader;
  opterr = 0;
  optind = 0;  // starts anew (getopt(3), GNU)
  for (int letter = 0; (letter = ::getopt_long(argc, argv, "", kLong.data(), nullptr)) != -1;) {
    reader.take(letter);
    if (letter == kHelp || letter == kVersion) return reader.options;
  }
  reader.takeWords(
      std::span(argv, static_cast<std::size_t>(argc)).subspan(static_cast<std::size_t>(optind)));
  reader.options.problem = reader.problem();
  return reader.options;
}

}  // namespace velkd
