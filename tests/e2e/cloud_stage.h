// The stage of the cloud tests: real web proxies, a real web server with Kerberos, and a strict
// platform behind them.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/lab.h"

namespace joinscope::test {

constexpr const char* kDaemonLog = "/var/log/orvald.log";

/// Everything towards the platform of cloud1.
inline const std::string kPlatform =
    "velkd.legacyzone.mfa.enabled: true\n"
    "velkd.legacyzone.mfa.cloudurl: https://cloud1.lab.test:8443/\n"
    "velkd.legacyzone.mfa.tenantid: LAB0001\n"
    "velkd.cloud.cert.store: /etc/ssl/lab/ca.pem\n"
    "adsec.cert.dir: /etc/ssl/lab\n"
    "cloud.iwa.url.override: https://web1.lab.test:8443/\n"
    "root.logger.name: TRACE\n";

class CloudTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { Lab::command({"scenario", "web", "on"}); }
  static void TearDownTestSuite() { Lab::command({"scenario", "web", "off"}); }
  void SetUp() override { lab.member.must("cp /etc/orvald/orvald.conf /root/conf.cloud"); }
  void TearDown() override {
    lab.member.must(
        "cp /root/conf.cloud /etc/orvald/orvald.conf; rm -f /var/orvald/httpproxy.cred "
        "/var/orvald/*cloudconnectors");
    Lab::command({"daemon", "stop"});
    Lab::command({"daemon", "start"});
  }

  void configure(const std::string& lines) const {
    lab.member.must("cat /root/conf.cloud - > /etc/orvald/orvald.conf <<'END'\n" + lines + "END");
  }
  static void await(const Host& host, const std::string& file, const std::string& text) {
    host.must("timeout 30 bash -c 'until grep -q \"" + text + "\" " + file +
              "; do sleep 0.1; done'");
  }
  /// With these settings and an empty log.
  void restartDaemon(const std::string& lines) const {
    configure(lines);
    Lab::command({"daemon", "stop"});
    lab.member.must(std::string(": > ") + kDaemonLog);
    Lab::command({"daemon", "start"});
  }
  void reloadDaemon(const std::string& lines) const {
    configure(lines);
    lab.member.must("kill -HUP $(pgrep -x velkd)");
  }
  /// Waits until the daemon knows the platform and its connectors.
  void awaitRefresh() const { await(lab.member, kDaemonLog, "Refresh cloud connectors info done"); }

  Lab lab;
  Host proxy{"proxy1"}, web{"web1"}, cloud{"cloud1"};
};

}  // namespace joinscope::test
