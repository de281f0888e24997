// The text of one server's connectivity test.
#include "cli/diag/server_text.h"

#include <algorithm>
#include <ostream>
#include <string>

#include "cli/common/output.h"
#include "tolk/base/property_names.h"
#include "tolk/base/text.h"
#include "tolk/net/limits.h"

namespace joinscope {
namespace {

void noteLimit(std::ostream* diag, const tolk::Property* limit) {
  if (diag == nullptr || limit == nullptr) return;
  *diag << prefix(1) << "... limit of " << tolk::limitText(tolk::configuredLimit(*limit)) << " ("
        << limit->key << ") reached\n";
}

}  // namespace

const char* verdictText(int result) {
  if (result == ProbeVerdict::kGood) return "good";
  return result == ProbeVerdict::kRefused ? "refused" : "timeout";
}

int portOf(const tolk::HostPort& entry, const ServerKind& kind, std::size_t row) {
  return row == 0 && entry.port > 0 ? entry.port : kind.rows[row].port;
}

void writeRowLabel(std::ostream& out, const PortRow& row, int port) {
  constexpr std::size_t kPortColumns = 4;
  const std::string number = std::to_string(port);
  const std::size_t blanks = kPortColumns - std::min(kPortColumns, number.size());
  out << prefix(3) << padRight(row.service + std::string(": "), 10) << std::string(blanks, ' ')
      << number << (overUdp(row) ? "/udp - " : "/tcp - ");
}

void writeVerdict(std::ostream& out, const ProbeVerdict& verdict, std::ostream* diag) {
  if (diag != nullptr && !verdict.message.empty()) {
    *diag << tolk::printable(verdict.message) << '\n';
  }
  out << verdictText(verdict.result) << '\n' << std::flush;
  if (diag != nullptr && !verdict.reason.empty()) {
    *diag << prefix(3) << tolk::printable(verdict.reason) << '\n';
  }
  noteLimit(diag, verdict.limit);
}

bool writeServer(std::ostream& out, const ServerKind& kind, const tolk::HostPort& entry,
                 const ServerAnswers& answers, std::ostream* diag) {
  const std::string host = tolk::printable(entry.host);
  out << prefix(2) << kind.title << ": " << host << '\n' << std::flush;
  const ProbeVerdict address = answers.resolve();
  if (address.result != ProbeVerdict::kGood) {
    // The blanks of the second line stand before its line end.
    out << prefix(3) << "Can't resolve IP address for " << host << prefix(3)
        << "\nPlease check your DNS configuration\n"
        << std::flush;
    noteLimit(diag, address.limit);
    return false;
  }
  for (std::size_t row = 0; row < kind.rows.size(); ++row) {
    writeRowLabel(out, kind.rows[row], portOf(entry, kind, row));
    out.flush();
    const ProbeVerdict verdict = answers.probe(row);
    writeVerdict(out, verdict, diag);
    if (row == 0 && verdict.result != ProbeVerdict::kGood) {
      out << prefix(3) << "No TCP LDAP response, giving up on " << host << '\n' << std::flush;
      return false;
    }
  }
  if (diag != nullptr && answers.facts) writeFacts(*diag, host, answers.facts());
  return true;
}

}  // namespace joinscope
