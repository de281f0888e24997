// The usage text, one literal a line.
#include "cli/usage.h"

#include <unistd.h>

#include <array>
#include <iostream>
#include <string>
#include <string_view>

#include "tolk/base/logger.h"

namespace joinscope {
namespace {

struct Line {
  std::string_view text;
  bool needsJournal = false;
};

// clang-format off: a line of the text is a line here, blanks at its end included
constexpr std::array kUsage{
    Line{"usage: joinscope [options]"},
    Line{"options:"},
    Line{"  --all, -a        Shows current join settings and status."},
    Line{"                   Default option if no option is given."},
    Line{"  --diag, -g [domain]"},
    Line{"                   Shows detailed network info for specified domain."},
    Line{"                   Uses joined domain if domain is not specified."},
    Line{"  --user, -u <user>"},
    Line{"                   Identifies Active Directory user which can read computer"},
    Line{"                   account data."},
    Line{"  --password, -p <password>"},
    Line{"                   Supplies password for --user. If this option is not given,"},
    Line{"                   password will be prompted for."},
    Line{"  --interactive, -I "},
    Line{"                   Prompt for password if cached Kerberos ticket is revoked."},
    Line{"                   This is normally used when user's kerberos credential cache is used "
         "in "},
    Line{"                   authenticating to Active Directory Domain, and RODC of the domain "
         "revoked the user's ticket."},
    Line{"  --domain, -d     Shows only the joined domain name."},
    Line{"  --gc, -G         Shows only the connected global catalog."},
    Line{"  --zone, -z       Shows only the joined zone name."},
    Line{"  --zonedn, -Z     Shows only the DN of the joined zone."},
    Line{"  --site, -s       Shows only the joined site name."},
    Line{"  --server, -r     Shows only the domain controller."},
    Line{"  --name, -n       Shows only the joined-as name."},
    Line{"  --config, -c     Shows parsed contents of orvald.conf."},
    Line{"  --computer, -C   Shows the computer diagnostics, which include kerberos key Version "
         "and SPNs."},
    Line{"  --begin, -b <timestamp>", true},
    Line{"                   Specify the log begin at timestamp you want to get. Timestamp format "
         "like 'yyyy-mm-dd hh:mm:ss'",
         true},
    Line{"  --end,   -e <timestamp>", true},
    Line{"                   Specify the log end at timestamp you want to get. Timestamp format "
         "like 'yyyy-mm-dd hh:mm:ss'",
         true},
    Line{"  --lastnhrs, -l <n>", true},
    Line{"                   Specify the <n> to select the last <n> hours log. The <n> should be "
         "in [1...999999].",
         true},
    Line{"                   The --begin|--end or --lastnhrs options should be used in conjunction "
         "with --support option.",
         true},
    Line{"                   If OS supports systemd journal for logging (e.g. FC20), we should use "
         "these options to get ",
         true},
    Line{"                   expected log, the default is to get the last 8 hours log.", true},
    Line{"  --support, -t [domain]"},
    Line{"                   Produces output for Pellion tech support for specified domain."},
    Line{"                   Uses joined domain if domain is not specified."},
    Line{"                   A compressed file is created that includes support output, log file,"},
    Line{"                   gp report, orvald folder contents and additional paths."},
    Line{"                   Support output goes to /joinscope_support.txt, but can be redirected "
         "by -o option."},
    Line{"  --debugcache, -D"},
    Line{"                   Collects cache and NIS map files for analysis."},
    Line{"                   A compressed file is created that includes all files collected."},
    Line{"  --output, -o <filename>"},
    Line{"                   Sends output from --support to a different file."},
    Line{"                   If '-' is given, output goes to stdout."},
    Line{"  --paths, -P <paths>"},
    Line{"                   Specify the additional paths for --support."},
    Line{"  --mode, -m       Shows Pellion Orvald running mode."},
    Line{"  --auth, -A [domain]"},
    Line{"                   Validates the user and password against a given domain."},
    Line{"                   A user name must be specified via the --user option."},
    Line{"                   Uses joined domain if domain is not specified."},
    Line{"  --ntlmauth, -N [domain]"},
    Line{"                   Validates the ntlm user and password against a given ntlm domain."},
    Line{"                   A user name must be specified via the --user option."},
    Line{"                   Uses joined domain if domain is not specified."},
    Line{"  --servername, -S <domain controller>"},
    Line{"                   Connects to a specified domain controller when doing network"},
    Line{"                   diagnostic."},
    Line{"  --test, -T [domain]"},
    Line{"                   Testing the state of the ports which were used by ORV."},
    Line{"  --joinedcount, -j Return a count of number of machines joined to each zone"},
    Line{"  --orbinfo, -i    Dump the information of the currently connected ORB, including its "
         "URL and web proxy configuration."},
    Line{"  --sysinfo, -y <all|dns,domain,netstate,adagent,config,health,orb,zone>"},
    Line{"                   Shows current system information, you can specify multiple modules "
         "separated by comma"},
    Line{"                       all: Show all system information"},
    Line{"                       dns: Show dns cache contents"},
    Line{"                       domain: Show domain information"},
    Line{"                       netstate: Show network states"},
    Line{"                       adagent: Show adagent internal information"},
    Line{"                       config: Show velkd's in-memory configuration parameters"},
    Line{"                       health: Show system health status"},
    Line{"                       orb: Show ORB and MFA information"},
    Line{"                       zone: Show zone information"},
    Line{"  --verbose, -V    May be combined with above options. Sends diagnostics to"},
    Line{"                   stderr."},
    Line{"  --version, -v    Shows version information."},
    Line{"  --product-version, -x"},
    Line{"                   Shows Orvald version and Pellion Infrastructure Services version "
         "information."},
    Line{"  --help, -h       Shows this help text."},
    Line{"Exit status:"},
    Line{"  0  Success."},
    Line{"  7  Usage error."},
    Line{"  6  Miscellaneous error"},
    Line{" 10  System not currently joined (for options requiring join)."},
};
// clang-format on

}  // namespace

bool OSSupportSystemdJournal() {
  const bool supported = ::access("/usr/bin/journalctl", X_OK) == 0;
  tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
      .log(tolk::LogLevel::debug, std::string("OSSupportSystemdJournal: supportJournal=") +
                                      (supported ? "true" : "false"));
  return supported;
}

void usage(const char* message) {
  if (message != nullptr) std::cout << message << '\n';
  writeUsage(std::cout, OSSupportSystemdJournal());
}

void writeUsage(std::ostream& out, bool withJournalOptions) {
  for (const Line& line : kUsage) {
    if (withJournalOptions || !line.needsJournal) out << line.text << '\n';
  }
}

}  // namespace joinscope
