#include "tests/unit/tolk/ldap/slapd.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace tolk::test {
namespace {

constexpr char kServer[] = "/usr/sbin/slapd";

std::string configuration(const std::string& directory) {
  return "include /etc/ldap/schema/core.schema\n"
         "include /etc/ldap/schema/cosine.schema\n"
         "include /etc/ldap/schema/inetorgperson.schema\n"
         // As MS-ADSC 2.24 has it.
         "objectclass ( 1.2.840.113556.1.3.23 NAME 'container' SUP top STRUCTURAL MUST cn\n"
         " MAY ( description $ displayName ) )\n"
         // As MS-ADA3 2.253 and MS-ADSC 2.26 have them, as far as they are needed.
         "attributetype ( 1.2.840.113556.1.4.771 NAME 'servicePrincipalName'\n"
         " EQUALITY caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
         "objectclass ( 1.2.840.113556.1.3.30 NAME 'computer' SUP top STRUCTURAL MUST cn\n"
         " MAY servicePrincipalName )\n"
         "modulepath /usr/lib/ldap\nmoduleload back_mdb\n"
         "database mdb\nmaxsize 67108864\nsuffix \"dc=lab,dc=test\"\n"
         "directory " +
         directory + "\naccess to * by * read\n";
}

std::string tree(const std::string& hugeFile) {
  std::string ldif =
      "dn: dc=lab,dc=test\nobjectClass: domain\ndc: lab\n\n"
      "dn: ou=People,dc=lab,dc=test\nobjectClass: organizationalUnit\nou: People\n\n";
  for (int i = 0; i < Slapd::kPeople; ++i) {
    const std::string name = (i < 10 ? "u0" : "u") + std::to_string(i);
    ldif.append("dn: cn=" + name + ",ou=People,dc=lab,dc=test\n")
        .append("objectClass: person\ncn: " + name + "\nsn: " + name + "\n\n");
  }
  ldif +=
      "dn: cn=HOST1,dc=lab,dc=test\nobjectClass: computer\nservicePrincipalName: HOST/localhost\n\n"
      "dn: dc=services,dc=lab,dc=test\nobjectClass: domain\n\n"
      "dn: cn=web,dc=services,dc=lab,dc=test\nobjectClass: computer\n"
      "servicePrincipalName: http/localhost\n\n";
  return ldif + "dn: cn=odd,dc=lab,dc=test\nobjectClass: inetOrgPerson\ncn: odd\nsn: odd\n" +
         "userPassword:: YQBiCg==\nuserPassword:\n" +  // "a", NUL, "b", line end; and nothing
         "jpegPhoto:< file://" + hugeFile + "\n";
}

bool accepts(in_port_t port) {
  const UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = loopback("127.0.0.1", port);
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

bool Slapd::available() {
  return std::filesystem::exists(kServer);
}

Slapd::Slapd(const std::string& settings, const std::string& more) {
  const std::string file =
      directory_.write("slapd.conf", configuration(directory_.path()) + settings);
  const std::string huge = directory_.write("huge", std::string(kHugeBytes, 'h'));
  const std::string ldif = directory_.write("tree.ldif", tree(huge) + "\n" + more);
  EXPECT_EQ(std::system(("/usr/sbin/slapadd -q -f " + file + " -l " + ldif).c_str()), 0);
  process_.emplace([&] {
    ::execl(kServer, kServer, "-d", "0", "-f", file.c_str(), "-h", ("ldap://" + address_).c_str(),
            nullptr);
  });
  const auto port = static_cast<in_port_t>(std::stoi(address_.substr(address_.find(':') + 1)));
  while (!accepts(port)) {
    if (::waitpid(process_->pid(), nullptr, WNOHANG) != 0) throw std::runtime_error("slapd ended");
    ::usleep(10000);
  }
}

void Slapd::freeze() const {
  ::kill(process_->pid(), SIGSTOP);
  ::waitpid(process_->pid(), nullptr, WUNTRACED);  // until all of its threads have stopped
}

void Slapd::thaw() const {
  ::kill(process_->pid(), SIGCONT);
}

}  // namespace tolk::test
