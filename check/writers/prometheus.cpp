// The text exposition format: a metric's HELP and TYPE once, then its series, none of them twice.
#include <array>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <set>
#include <utility>

#include "check/writers/writer.h"
#include "tolk/base/text.h"

namespace joinscope::check {
namespace {

using Label = std::pair<const char*, std::string_view>;

/// The value of a label between its quotation marks.
std::string quoted(std::string_view text) {
  std::string out = "\"";
  for (const char c : tolk::printable(text)) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

std::string numberText(double value) {
  std::array<char, 40> text{};
  (void)std::snprintf(text.data(), text.size(), "%.10g", std::isfinite(value) ? value : 0);
  return text.data();
}

class Metrics {
 public:
  void gauge(const char* name, const char* help) {
    name_ = name;
    text_ += "# HELP " + name_ + ' ' + help + "\n# TYPE " + name_ + " gauge\n";
  }

  /// One series of the gauge that was begun last; the first of two with the same labels counts.
  void value(double value, std::initializer_list<Label> labels = {}) {
    std::string series = name_;
    char before = '{';
    for (const auto& [label, text] : labels) {
      series += before + std::string(label) + '=' + quoted(text);
      before = ',';
    }
    if (before == ',') series += '}';
    if (seen_.insert(series).second) text_ += series + ' ' + numberText(value) + '\n';
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string name_;
  std::string text_;
  std::set<std::string> seen_;
};

/// The number that stands for an outcome.
int numberOf(const Finding& finding) {
  constexpr int kFollows = 4;
  if (finding.follows()) return kFollows;
  switch (finding.verdict.grade) {
    case Grade::fine:
      return ExitStatus::kSound;
    case Grade::warning:
      return ExitStatus::kWarning;
    case Grade::broken:
      return ExitStatus::kBroken;
    case Grade::unknown:
      return ExitStatus::kUnknown;
    case Grade::notMeant:
      break;
  }
  return -1;
}

void writeChecks(Metrics& metrics, const Judgement& judgement) {
  metrics.gauge("joincheck_check",
                "Outcome of a check: 0 fine, 1 warning, 2 broken, 3 not checked, 4 follows from a "
                "first cause, -1 not meant for this host.");
  for (const Finding& finding : judgement.findings) {
    metrics.value(numberOf(finding), {{"id", finding.rule->id}});
  }
  metrics.gauge("joincheck_first_cause",
                "What is broken of itself: 1 for the cause on which most depends, 2 for the next.");
  int place = 0;
  for (const Finding* cause : judgement.firstCauses()) {
    metrics.value(++place, {{"id", cause->rule->id}});
  }
  if (place == 0) metrics.value(0, {{"id", "none"}});
}

void writeHost(Metrics& metrics, const facts::Facts& facts) {
  metrics.gauge("joincheck_host_info", "Always 1: the domain, and where the controllers place us.");
  metrics.value(1, {{"domain", facts.join.domain}, {"site", facts.network.site}});
}

void writeOffsets(Metrics& metrics, const facts::Facts& facts) {
  metrics.gauge("joincheck_clock_ahead_seconds",
                "By how much this clock is ahead of a controller's.");
  for (const facts::Controller& controller : facts.network.controllers) {
    const facts::Endpoint* endpoint = controller.best();
    if (endpoint == nullptr) continue;
    const auto offset = [&](const char* source, const std::optional<double>& seconds) {
      if (!seconds) return;
      metrics.value(*seconds, {{"controller", controller.name}, {"source", source}});
    };
    offset("ldap", endpoint->ldapAhead);
    offset("ntp", endpoint->ntpAhead);
  }
}

void writeDurations(Metrics& metrics, const facts::Facts& facts) {
  metrics.gauge("joincheck_answer_seconds", "Until a server answered a service's question.");
  for (const facts::Controller& controller : facts.network.controllers) {
    const facts::Endpoint* endpoint = controller.best();
    if (endpoint == nullptr) continue;
    for (const facts::Port& port : endpoint->ports) {
      if (!port.asked.answered()) continue;
      metrics.value(
          port.asked.seconds,
          {{"server", controller.name}, {"service", port.service}, {"transport", port.transport}});
    }
  }
  for (const facts::NameServer& server : facts.resolver.servers) {
    if (!server.domain.asked.answered()) continue;
    metrics.value(server.domain.asked.seconds,
                  {{"server", server.address}, {"service", "dns"}, {"transport", "udp"}});
  }
  metrics.gauge("joincheck_duration_seconds", "What the run took.");
  metrics.value(facts.run.seconds);
}

void writeStatus(Metrics& metrics, int status) {
  metrics.gauge("joincheck_status", "Exit status: 0 sound, 1 warnings, 2 broken, 3 unknown.");
  metrics.value(status);
}

}  // namespace

std::string prometheusReport(const Judgement& judgement, const facts::Facts& facts) {
  Metrics metrics;
  writeStatus(metrics, judgement.exitStatus());
  writeHost(metrics, facts);
  writeChecks(metrics, judgement);
  writeOffsets(metrics, facts);
  writeDurations(metrics, facts);
  metrics.gauge("joincheck_run_timestamp_seconds", "When the facts were gathered.");
  metrics.value(static_cast<double>(facts.host.now));
  return metrics.text();
}

std::string prometheusError(int status) {
  Metrics metrics;
  writeStatus(metrics, status);
  return metrics.text();
}

}  // namespace joinscope::check
