#include "tests/unit/tolk/ldap/slapd.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tolk::test {
namespace {

constexpr char kServer[] = "/usr/sbin/slapd";

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int bindTo(int socket, int port) {
  sockaddr_in address = loopback(port);
  socklen_t size = sizeof address;
  if (::bind(socket, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("cannot bind to loopback");
  }
  return ntohs(address.sin_port);
}

bool accepts(int port) {
  const UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = loopback(port);
  return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

pid_t spawn(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  }
  pid_t pid = -1;
  const int error = ::posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " + command[0]);
  return pid;
}

int waitFor(pid_t pid) {
  int status = 0;
  ::waitpid(pid, &status, 0);
  return status;
}

void writeConfiguration(const std::filesystem::path& directory) {
  std::ofstream(directory / "slapd.conf")
      << "include /etc/ldap/schema/core.schema\n"
      << "include /etc/ldap/schema/cosine.schema\n"
      << "include /etc/ldap/schema/inetorgperson.schema\n"
      << "modulepath /usr/lib/ldap\nmoduleload back_mdb\n"
      << "database mdb\nmaxsize 67108864\nsuffix \"dc=lab,dc=test\"\n"
      << "directory " << directory.string() << "/data\n"
      << "access to * by * read\n";
  std::filesystem::create_directory(directory / "data");
}

void writeTree(const std::filesystem::path& directory) {
  std::ofstream out(directory / "tree.ldif");
  out << "dn: dc=lab,dc=test\nobjectClass: domain\ndc: lab\n\n"
      << "dn: ou=People,dc=lab,dc=test\nobjectClass: organizationalUnit\nou: People\n\n";
  for (int i = 0; i < Slapd::kPeople; ++i) {
    const std::string name = (i < 10 ? "u0" : "u") + std::to_string(i);
    out << "dn: cn=" << name << ",ou=People,dc=lab,dc=test\nobjectClass: person\ncn: " << name
        << "\nsn: " << name << "\n\n";
  }
  std::ofstream(directory / "huge") << std::string(Slapd::kHugeBytes, 'h');
  out << "dn: cn=odd,dc=lab,dc=test\nobjectClass: inetOrgPerson\ncn: odd\nsn: odd\n"
      << "userPassword:: YQBiCg==\nuserPassword:\n"  // "a", NUL, "b", line end; and nothing
      << "jpegPhoto:< file://" << (directory / "huge").string() << "\n";
}

}  // namespace

bool Slapd::available() {
  return std::filesystem::exists(kServer);
}

Slapd::Slapd() {
  std::string name = (std::filesystem::temp_directory_path() / "slapd.XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
  directory_ = name;
  writeConfiguration(directory_);
  writeTree(directory_);
  const std::string configuration = directory_ / "slapd.conf";
  if (waitFor(spawn(
          {"/usr/sbin/slapadd", "-q", "-f", configuration, "-l", directory_ / "tree.ldif"})) != 0) {
    throw std::runtime_error("slapadd failed");
  }
  int port = 0;
  {
    const UniqueFd reserved(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    port = bindTo(reserved.get(), 0);
  }
  address_ = "127.0.0.1:" + std::to_string(port);
  // The server ends with the test, also when that crashes.
  pid_ = spawn({"/usr/bin/setpriv", "--pdeathsig", "KILL", kServer, "-d", "0", "-f", configuration,
                "-h", "ldap://" + address_});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!accepts(port)) {
    if (std::chrono::steady_clock::now() > deadline || ::waitpid(pid_, nullptr, WNOHANG) != 0) {
      throw std::runtime_error("slapd does not answer");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

Slapd::~Slapd() {
  kill();
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void Slapd::freeze() const {
  ::kill(pid_, SIGSTOP);
  ::waitpid(pid_, nullptr, WUNTRACED);  // until all of its threads have stopped
}
void Slapd::thaw() const {
  ::kill(pid_, SIGCONT);
}

void Slapd::kill() {
  if (pid_ <= 0) return;
  ::kill(pid_, SIGKILL);
  waitFor(pid_);
  pid_ = -1;
}

Listener::Listener() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  port_ = bindTo(socket_.get(), 0);
  ::listen(socket_.get(), 4);
  address_ = "127.0.0.1:" + std::to_string(port_);
}

UniqueFd Listener::accept() const {
  return UniqueFd(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

}  // namespace tolk::test
