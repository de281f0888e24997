// Other programs keep their state to themselves; each is asked by the tool that comes with it, and
// only where it is configured for a domain.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "facts/gathering.h"
#include "facts/subjects/secrets_tdb.h"
#include "tolk/base/child_output.h"
#include "tolk/base/child_process.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/file.h"
#include "tolk/base/text.h"

namespace joinscope::facts {
namespace {

constexpr std::chrono::seconds kLimit{3};
constexpr std::size_t kFileLimit = std::size_t{1} << 20;

/// The file's text; "" when there is none, or it is not for this user.
std::string textOf(const std::string& path) {
  try {
    return tolk::readRegularFile(path, kFileLimit);
  } catch (const tolk::IOException&) {
    return {};
  }
}

/// The value of `key` in a section of a file of "[section]" and "key = value" lines; with an empty
/// `section`, in any.
std::string iniValue(const std::string& text, std::string_view section, std::string_view key) {
  std::istringstream lines(text);
  bool inside = section.empty();
  for (std::string raw; std::getline(lines, raw);) {
    const std::string_view line = tolk::trim(raw);
    if (line.starts_with('[')) {
      inside = section.empty() || tolk::equalsIgnoringCase(line, section);
      continue;
    }
    const auto equals = line.find('=');
    if (!inside || equals == std::string_view::npos) continue;
    if (tolk::equalsIgnoringCase(tolk::trim(line.substr(0, equals)), key)) {
      return std::string(tolk::trim(line.substr(equals + 1)));
    }
  }
  return {};
}

/// The words of a list: "dc1.lab.test, dc2.lab.test".
std::vector<std::string> wordsOf(std::string list) {
  std::ranges::replace(list, ',', ' ');
  std::istringstream text(list);
  return {std::istream_iterator<std::string>(text), {}};
}

/// Whether the process lives that has written its number there.
bool runs(const std::string& pidFile) {
  const std::string text = textOf(pidFile);
  pid_t pid = 0;
  const std::string_view number = tolk::trim(text);
  const auto parsed = std::from_chars(number.data(), number.data() + number.size(), pid);
  return parsed.ec == std::errc() && pid > 0 && (::kill(pid, 0) == 0 || errno == EPERM);
}

/// Runs the agent's own tool; its words are the answer. `online` is the text that says so.
void askTool(OtherAgent& agent, const std::vector<std::string>& command, std::string_view online) {
  if (!agent.running) {
    agent.state.reason = "it does not run";
    return;
  }
  if (::access(command.front().c_str(), X_OK) != 0) {
    agent.state.reason = command.front() + " is not installed";
    return;
  }
  std::vector<std::string> shell{"/bin/sh", "-c", "exec \"$@\" 2>&1", "sh"};
  shell.insert(shell.end(), command.begin(), command.end());
  tolk::ChildOutput output;
  agent.state = ask([&] { output = tolk::runForOutput(shell, kLimit); });
  agent.answer = tolk::trim(output.text);
  agent.online = agent.answer.find(online) != std::string::npos;
  if (output.status == tolk::kTimedOut) {
    agent.state.outcome = Outcome::silent;
    agent.state.reason = command.front() + " gave no answer in 3 s";
  } else if (output.status != 0 && agent.state.answered() && agent.answer.empty()) {
    agent.state.outcome = Outcome::failed;
    agent.state.reason = command.front() + " ended with status " + std::to_string(output.status);
  }
}

std::optional<OtherAgent> askSssd() {
  const std::string config = textOf("/etc/sssd/sssd.conf");
  std::string domain = iniValue(config, "[sssd]", "domains");
  domain = domain.substr(0, domain.find_first_of(", "));
  if (domain.empty()) return {};
  const std::string directory = iniValue(config, "[domain/" + domain + "]", "ad_domain");
  OtherAgent agent{.name = "sssd", .domain = directory.empty() ? domain : directory};
  agent.controllers = wordsOf(iniValue(config, "[domain/" + domain + "]", "ad_server"));
  agent.running = runs("/run/sssd.pid");
  askTool(agent, {"/usr/sbin/sssctl", "domain-status", "--online", domain},
          "Online status: Online");
  return agent;
}

std::optional<OtherAgent> askWinbind() {
  const std::string config = textOf("/etc/samba/smb.conf");
  const std::string realm = iniValue(config, "[global]", "realm");
  const bool member = tolk::equalsIgnoringCase(iniValue(config, "[global]", "security"), "ads");
  if (realm.empty() || !member) return {};
  OtherAgent agent{.name = "winbind", .domain = realm};
  agent.running = runs("/run/samba/winbindd.pid");
  askTool(agent, {"/usr/bin/wbinfo", "--ping-dc"}, "succeeded");
  return agent;
}

}  // namespace

void askOtherAgents(const Question& /*question*/, const Facts& local, const Publish& publish) {
  Join join = local.join;
  readSecretsTdb(join);
  publish([&join](Facts& facts) {
    facts.join.secrets = join.secrets;
    facts.join.secretsChanged = join.secretsChanged;
  });
  for (const auto& ask : {askSssd, askWinbind}) {
    if (const std::optional<OtherAgent> agent = ask()) {
      publish([&agent](Facts& facts) { facts.join.agents.push_back(*agent); });
    }
  }
}

}  // namespace joinscope::facts
