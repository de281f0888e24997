// One server's rows and, beside them, what its ports do not tell.
#include "cli/diag/server_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <ostream>

#include "cli/common/output.h"
#include "cli/common/run.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/net/limits.h"

namespace joinscope {
namespace {

void noteLimit(std::ostream& verbose, const tolk::Property* limit) {
  if (limit == nullptr) return;
  verbose << prefix(1) << "... limit of " << tolk::limitText(tolk::configuredLimit(*limit)) << " ("
          << limit->key << ") reached\n";
}

using Seconds = std::optional<double>;

/// The difference that Kerberos allows unless a domain's policy says otherwise (MS-KILE 3.3.1).
constexpr double kAllowedSkew = 300;
/// Both measures of one clock differ by less: one of them knows whole seconds only.
constexpr double kMeasureError = 2;

/// "+94 s", "-0.3 s"; `digits` behind the point, none for what is large.
std::string signedSeconds(double seconds, int digits) {
  const double scale = std::pow(10, std::fabs(seconds) < 1e6 ? digits : 0);
  const double rounded = std::round(seconds * scale) / scale + 0.0;  // no "-0"
  char text[400];
  std::snprintf(text, sizeof text, "%+.*f s", scale > 1 ? digits : 0, rounded);
  return text;
}

std::string measures(const ControllerFacts& facts) {
  std::string text;
  if (facts.ldapAhead) text = "LDAP " + signedSeconds(*facts.ldapAhead, 0);
  if (facts.ntpAhead) {
    text += (text.empty() ? "NTP " : ", NTP ") + signedSeconds(*facts.ntpAhead, 1);
  }
  return text;
}

/// The directory's clock is the KDC's; the time service's is finer where both are one.
Seconds best(const ControllerFacts& facts) {
  if (!facts.ldapAhead || !facts.ntpAhead)
    return facts.ldapAhead ? facts.ldapAhead : facts.ntpAhead;
  const bool same = std::fabs(*facts.ldapAhead - *facts.ntpAhead) < kMeasureError;
  return same ? facts.ntpAhead : facts.ldapAhead;
}

}  // namespace

const char* verdictText(int result) {
  if (result == ProbeVerdict::kGood) return "good";
  return result == ProbeVerdict::kRefused ? "refused" : "timeout";
}

void writeRowLabel(std::ostream& out, const PortRow& row, int port) {
  constexpr std::size_t kPortColumns = 4;
  const std::string number = std::to_string(port);
  const std::size_t blanks = kPortColumns - std::min(kPortColumns, number.size());
  out << prefix(3) << padRight(row.service + std::string(": "), 10) << std::string(blanks, ' ')
      << number << (overUdp(row) ? "/udp - " : "/tcp - ");
}

void writeVerdict(std::ostream& out, const ProbeVerdict& verdict, std::ostream& verbose) {
  if (!verdict.message.empty()) verbose << tolk::printable(verdict.message) << '\n';
  out << verdictText(verdict.result) << '\n' << std::flush;
  if (!verdict.reason.empty()) {
    verbose << prefix(3) << tolk::printable(verdict.reason) << '\n';
  }
  noteLimit(verbose, verdict.limit);
}

bool writeServer(std::ostream& out, const ServerKind& kind, const tolk::HostPort& entry,
                 const ServerAnswers& answers, std::ostream& verbose) {
  const std::string host = tolk::printable(entry.host);
  const char* title = &kind == &kGlobalCatalog ? "Global Catalog" : "Domain Controller";
  out << prefix(2) << title << ": " << host << '\n' << std::flush;
  const ProbeVerdict address = answers.resolve();
  if (address.result != ProbeVerdict::kGood) {
    // The blanks of the second line stand before its line end.
    out << prefix(3) << "Can't resolve IP address for " << host << prefix(3)
        << "\nPlease check your DNS configuration\n"
        << std::flush;
    noteLimit(verbose, address.limit);
    return false;
  }
  for (std::size_t row = 0; row < kind.rows.size(); ++row) {
    writeRowLabel(out, kind.rows[row], portOf(entry, kind, row));
    out.flush();
    const ProbeVerdict verdict = answers.probe(row);
    writeVerdict(out, verdict, verbose);
    if (row == 0 && verdict.result != ProbeVerdict::kGood) {
      out << prefix(3) << "No TCP LDAP response, giving up on " << host << '\n' << std::flush;
      return false;
    }
  }
  if (isRead(verbose) && answers.facts) writeFacts(verbose, host, answers.facts());
  return true;
}

std::string clockText(const std::string& host, const ControllerFacts& facts) {
  const Seconds ahead = best(facts);
  if (!ahead) return {};
  const double size = std::fabs(*ahead);
  std::string text = "This clock agrees with " + host;
  if (size >= 1) {
    text = "This clock is " + signedSeconds(size, 0).substr(1) +
           (*ahead > 0 ? " ahead of " : " behind ") + host;
  }
  text += " (" + measures(facts) + ")";
  if (facts.ldapAhead && facts.ntpAhead &&
      std::fabs(*facts.ldapAhead - *facts.ntpAhead) >= kMeasureError) {
    text += ", whose directory and time service do not agree";
  }
  if (size > kAllowedSkew) {
    return text +
           ". Kerberos refuses more than 300 s: no ticket and no bind can be had from this "
           "server until the clocks agree";
  }
  return size >= kMeasureError ? text + "; Kerberos refuses 300 s" : text;
}

void writeFacts(std::ostream& verbose, const std::string& host, const ControllerFacts& facts) {
  for (const std::string& reason : facts.deadAddresses) {
    verbose << prefix(3) << host << " has an address that is of no use: " << tolk::printable(reason)
            << '\n';
  }
  if (!facts.ldapTrouble.empty()) {
    verbose << prefix(3) << host
            << " accepts connections to its LDAP port, but nobody answers there: "
            << tolk::printable(facts.ldapTrouble) << ". Reads and binds will fail for this\n";
  }
  if (!facts.kdcTrouble.empty()) {
    verbose << prefix(3) << host << " accepts connections to port 88, but no KDC answers there: "
            << tolk::printable(facts.kdcTrouble) << ". No ticket can be had from it\n";
  }
  const std::string clock = clockText(host, facts);
  if (!clock.empty()) verbose << prefix(3) << clock << '\n';
}

}  // namespace joinscope
