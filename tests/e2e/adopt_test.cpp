// velkd adopt and unadopt on the member host, against a real domain controller.
#include <gmock/gmock.h>

#include "tests/e2e/daemon_fixture.h"
#include "tolk/base/text.h"

namespace joinscope::test {
namespace {

using testing::HasSubstr;

using AdoptTest = DaemonTest;

TEST_F(AdoptTest, WritesWhatTheDirectoryKnows) {
  const HostChange kept(lab.member, "rm -rf /root/kset; cp -a /var/orvald /root/kset",
                        "rm -rf /var/orvald/kset.* /var/orvald/previous; "
                        "cp -a /root/kset/kset.* /var/orvald");
  lab.member.must(
      "sed -i 's/^tolkd.cache.disable.*/velkd.cache.lifetime: 60/' /etc/orvald/orvald.conf");
  restart();
  const std::string later = callOf("FetchObject", R"({"server":"","attributes":["cn"],"dn":)"
                                                  R"("CN=LATER,CN=Computers,DC=lab,DC=test"})");
  EXPECT_THAT(answers({later}), HasSubstr(":null"));
  EXPECT_EQ(velkd({"unadopt"}).status, 0);
  EXPECT_EQ(lab.member.must("cat /var/orvald/previous/kset.domain"), "lab.test\n");
  EXPECT_EQ(mode(), 10);
  EXPECT_THAT(answers({later}), HasSubstr("velkd.NotJoined"));
  EXPECT_EQ(velkd({"unadopt"}).status, 10);

  const std::string sid(
      tolk::trim(lab.dc.must("samba-tool computer show HOST1 --attributes=objectSid | "
                             "sed -n 's/^objectSid: //p'")));
  const HostChange computer(lab.dc, "samba-tool computer create LATER",
                            "samba-tool computer delete LATER");
  const HostChange site(lab.dc, "samba-tool sites subnet set-site 10.99.0.0/26 Paris",
                        "samba-tool sites subnet set-site 10.99.0.0/26 Default-First-Site-Name");
  const CommandResult adopted = velkd({"adopt", "--null-zone"});
  EXPECT_EQ(adopted.status, 0) << adopted;
  EXPECT_EQ(lab.member.must("cd /var/orvald; grep -H . kset.*"),
            "kset.domain:lab.test\nkset.domaincontroller:dc1.lab.test\n"
            "kset.globalcatalog:dc1.lab.test\nkset.hostname:host1.lab.test\nkset.hostsid:" +
                sid +
                "\nkset.prew2khostname:HOST1\nkset.schema:null\n"
                "kset.site:Paris\nkset.subnetsite:Paris\nkset.zone:DC=lab,DC=test\n");
  EXPECT_THAT(adopted.out, HasSubstr("/var/orvald/kset.hostsid: " + sid));
  EXPECT_EQ(mode(), 0) << "the running daemon takes the new join over";
  EXPECT_THAT(answers({later}), HasSubstr("LATER")) << "and remembers nothing of the old one";
}

TEST_F(AdoptTest, TakesTheSchemaFromTheZoneObject) {
  const HostChange kept(lab.member, "rm -rf /root/kset; cp -a /var/orvald /root/kset",
                        "rm -rf /var/orvald/kset.* /var/orvald/previous; "
                        "cp -a /root/kset/kset.* /var/orvald");
  struct Row {
    std::string zone;
    const char* schema;
    const char* shown;  ///< by --zone; the identifier stands for itself
  };
  for (const Row& row : {
           Row{"CN=First,OU=Servers", "orv_v1_0", "First"},
           Row{"cn=paris,cn=global,ou=zones", "orv_v2_0", "lab.test/Zones/Global/Paris"},
           Row{R"(CN=The \"quoted\" zone,OU=Zones)", "orv_r2",
               R"(lab.test/Zones/The "quoted" zone)"},
           Row{"CN=NIS,OU=Zones", "sfu_v3_0", "lab.test/Zones/NIS"},
           Row{"CN=Old NIS/YP,OU=Servers", "sfu_v3_0v1",
               "CN=Old NIS/YP,OU=Servers,DC=lab,DC=test{GUID}"},
       }) {
    SCOPED_TRACE(row.zone);
    const std::string dn = row.zone + ",DC=lab,DC=test";
    EXPECT_EQ(velkd({"adopt", "--zone", dn}).status, 0);
    EXPECT_EQ(lab.member.must("cat /var/orvald/kset.schema"), row.schema + std::string("\n"));
    const std::string guid = lab.member.must("tr -d '{}\\n' < /var/orvald/kset.zoneguid");
    EXPECT_THAT(lab.dc.must("ldbsearch -H /var/lib/samba/private/sam.ldb -s base -b '<GUID=" +
                            guid + ">' dn 2>/dev/null | tr '[:upper:]' '[:lower:]'"),
                HasSubstr("dn: " + tolk::toLower(dn)));
    std::string shown = lab.member.joinscope({"--zone"}).out;
    if (const std::size_t at = shown.find(guid); at != std::string::npos) {
      shown.replace(at, guid.size(), "GUID");
    }
    EXPECT_EQ(shown, row.shown + std::string("\n"));
  }
  const std::string strange = "CN=Strange,OU=Zones,DC=lab,DC=test";
  const CommandResult unknown = velkd({"adopt", "--zone", strange});
  EXPECT_EQ(unknown.status, 6);
  EXPECT_EQ(unknown.err, "velkd: The layout 'orv_v9_9' of the zone " + strange +
                             " is not known. Name one with --schema.\n");
  EXPECT_EQ(velkd({"adopt", "--zone", strange, "--schema", "orv_r2"}).status, 0);
}

TEST_F(AdoptTest, RefusesWithReasonAndChangesNothing) {
  const std::string before = lab.member.must("cd /var/orvald; grep -H . kset.*");
  struct Row {
    const char* what;
    std::string change;  // in a mount namespace of its own
    int status;
    const char* reason;
  };
  const auto keytab = [](const std::string& principal) {
    return "printf 'addent -password -p " + principal +
           " -k 1 -e aes256-cts\\nsecret\\nwkt /tmp/kt.e2e\\n' | ktutil >/dev/null; ";
  };
  const std::string mount = "mount --bind /tmp/kt.e2e /etc/krb5.keytab";
  const std::string fresh = "rm -f /tmp/kt.e2e; ";
  for (const Row& row : {
           Row{"no keytab",
               "mount -t tmpfs none /root; "
               "printf 'krb5.keytab.name: /root/absent\\n' > /root/c; "
               "mount --bind /root/c /etc/orvald/orvald.conf",
               6, "Join this computer to a domain first"},
           Row{"no computer account", fresh + keytab("user@LAB.TEST") + mount, 6,
               "has no computer account"},
           Row{"two realms",
               fresh + keytab("HOST1$@LAB.TEST") + keytab("HOST1$@OTHER.TEST") + mount, 6,
               "computer accounts of several domains (LAB.TEST, OTHER.TEST)"},
           Row{"unknown account", fresh + keytab("NOSUCH$@LAB.TEST") + mount, 23,
               "the domain has no such computer account"},
           Row{"stale key", fresh + keytab("HOST1$@LAB.TEST") + mount, 156,
               "the keytab does not hold the account's password any more"},
           Row{"full disk", "mount -t tmpfs -o nr_inodes=1 none /var/orvald", 6,
               "Cannot write /var/orvald/.kset.domain.new: No space left on device"},
           Row{"no controller", fresh + keytab("HOST1$@NOWHERE.TEST") + mount, 6,
               "No domain controller of nowhere.test can be used"},
       }) {
    SCOPED_TRACE(row.what);
    const CommandResult result = lab.member.run(
        {"unshare", "--mount", "sh", "-c", row.change + "; exec " + daemonBinary() + " adopt"});
    EXPECT_EQ(result.status, row.status) << result;
    EXPECT_THAT(result.err, HasSubstr(row.reason));
  }
  {
    const HostChange disabled(lab.dc, "samba-tool user disable 'HOST1$'",
                              "samba-tool user enable 'HOST1$'");
    const CommandResult result = velkd({"adopt"});
    EXPECT_EQ(result.status, 6);
    EXPECT_THAT(result.err, HasSubstr("the account is disabled: enable it in the directory."));
  }
  EXPECT_EQ(velkd({"adopt"}, "tester").status, 9);
  EXPECT_EQ(lab.member.shell(daemonBinary() + " adopt <&- >&-"),
            (CommandResult{6, "", "velkd: Cannot write to standard output\n"}));
  for (const char* zone : {"CN=none,DC=lab,DC=test", "CN=Box,OU=Zones,DC=lab,DC=test"}) {
    const CommandResult result = velkd({"adopt", "--zone", zone, "--schema", "orv_r2"});
    EXPECT_EQ(result.status, 6);
    EXPECT_EQ(result.err, "velkd: There is no zone " + std::string(zone) + " in the directory.\n");
  }
  EXPECT_EQ(lab.member.must("cd /var/orvald; grep -H . kset.*"), before);
}

}  // namespace
}  // namespace joinscope::test
