#include "cli/diag/controller_facts.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <ostream>

#include "cli/common/output.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/ad_object.h"

namespace joinscope {
namespace {

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

Seconds clockAhead(const tolk::ADObject& rootDse, std::chrono::system_clock::time_point received) {
  const std::string text = rootDse.getString(tolk::AD_CURRENT_TIME, "");
  std::tm time{};
  constexpr std::size_t kDigits = 14;
  const char* end = ::strptime(text.c_str(), "%Y%m%d%H%M%S", &time);
  if (end != text.c_str() + kDigits || !text.ends_with('Z')) return {};
  // Cut to the second below: on the average half a second more.
  const auto server = static_cast<double>(::timegm(&time)) + 0.5;
  return std::chrono::duration<double>(received.time_since_epoch()).count() - server;
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

void writeFacts(std::ostream& diag, const std::string& host, const ControllerFacts& facts) {
  if (!facts.ldapTrouble.empty()) {
    diag << prefix(3) << host << " accepts connections to its LDAP port, but nobody answers there: "
         << tolk::printable(facts.ldapTrouble) << ". Reads and binds will fail for this\n";
  }
  if (!facts.kdcTrouble.empty()) {
    diag << prefix(3) << host << " accepts connections to port 88, but no KDC answers there: "
         << tolk::printable(facts.kdcTrouble) << ". No ticket can be had from it\n";
  }
  const std::string clock = clockText(host, facts);
  if (!clock.empty()) diag << prefix(3) << clock << '\n';
}

}  // namespace joinscope
