// The report about the computer account, and its key version against the local one.
#include "cli/account/computer_account.h"

#include <unistd.h>

#include <exception>
#include <iostream>
#include <map>
#include <vector>

#include "cli/account/binding.h"
#include "cli/account/local_keys.h"
#include "cli/common/error_text.h"
#include "cli/common/exit_status.h"
#include "cli/common/output.h"
#include "cli/common/run.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

const char* trueOrFalse(bool value) {
  return value ? "true" : "false";
}

struct DirectoryVersion {
  std::string text = {};
  bool known = false;
  int number = 0;
};

DirectoryVersion tellVersion(const Reading<int>& reading, std::ostream& verbose) {
  const char* const name = tolk::AD_KEY_VERSION_NUMBER;
  if (reading.missing) {
    verbose << prefix(2) << "Computer account is missing index: " << name << '\n';
  } else if (reading.value) {
    verbose << prefix(2) << "Kerberos key number from computer account: " << *reading.value << '\n';
    return {std::to_string(*reading.value), true, *reading.value};
  } else if (!reading.problem.empty()) {
    verbose << prefix(2) << "While accessing index " << name << ": "
            << tolk::printable(reading.problem) << '\n';
  }
  return {};
}

DirectoryVersion directoryVersion(const TaskContext& context, const tolk::ADObject& object,
                                  std::ostream& verbose) {
  if (context.win2kController) {
    verbose << prefix(2) << "Kerberos key numbers in Windows 2000 are always 0\n";
    return {"0", true};
  }
  return tellVersion(readNumber(object, tolk::AD_KEY_VERSION_NUMBER), verbose);
}

boost::shared_ptr<tolk::ADObject> searchComputer(tolk::ADBinding& binding,
                                                 const std::string& samName,
                                                 const char** attributes, std::ostream& verbose) {
  const ComputerSearch search = computerSearch(binding, samName);
  verbose << prefix(1) << "Searching for " << search.filter << '\n'
          << prefix(1) << "           in " << search.base << '\n';
  boost::shared_ptr<tolk::ADObject> computer = readComputer(binding, search, attributes);
  verbose << prefix(1)
          << "Found computer account: " << tolk::printable((*computer)[tolk::AD_DN].toString())
          << '\n';
  return computer;
}

}  // namespace

int showComputerAccount(TaskContext& context, const char* server, std::ostream* verbose) {
  std::cout << "Computer Account Diagnostics\n";
  if (!context.joined) {
    std::cout << prefix(1) << "Not joined to any domain\n";
    return exit_status::kNotJoined;
  }
  std::cout << prefix(1) << "Joined as: " << tolk::printable(context.hostName) << '\n';
  if (context.domain.empty()) return exit_status::kMiscError;

  std::vector<const char*> attributes = accountAttributes();
  const boost::shared_ptr<tolk::ADObject> object =
      findComputerAccount(context, context.preWin2kHostName, attributes.data(), server, verbose);
  if (context.bindFailed) {
    std::cout << "Cannot bind to the domain controller for a domain.\n";
    showBindFailure(context);
  }
  if (!object || object->empty()) return exit_status::kNoComputerObject;
  writeAccount(std::cout, accountFacts(*object), sinkOf(verbose),
               [&] { return keyVersionText(context, *object, verbose); });
  return exit_status::kSuccess;
}

boost::shared_ptr<tolk::ADObject> findComputerAccount(TaskContext& context,
                                                      const std::string& samName,
                                                      const char** attributes, const char* server,
                                                      std::ostream* verbose) {
  const boost::shared_ptr<tolk::ADBinding> binding = getBinding(context, server, verbose);
  if (!binding) return {};
  std::ostream& sink = sinkOf(verbose);
  try {
    return searchComputer(*binding, samName, attributes, sink);
  } catch (const std::exception& failure) {
    sink << prefix(2) << "Exception: " << tolk::printable(failure.what()) << '\n';
    std::cout << prefix(1) << "Computer account for " << tolk::printable(samName)
              << " not found in Active Directory or user does not have sufficient permission to "
                 "access the computer object.\n";
    return {};
  }
}

std::string keyVersionText(TaskContext& context, tolk::ADObject& object, std::ostream* verbose) {
  std::ostream& sink = sinkOf(verbose);
  const DirectoryVersion version = directoryVersion(context, object, sink);
  if (::geteuid() != 0) {
    std::cout << prefix(1) << "Run joinscope as root to examine local key info\n";
    return version.text + "   (local key version unavailable)";
  }
  try {
    const int local = latestLocalKeyVersion(context, &sink);
    // A version that the directory tells stands alone.
    if (!version.known && local != version.number) {
      return version.text + "   (local key version: " + std::to_string(local) + ")";
    }
  } catch (const tolk::KerberosException& failure) {
    sink << prefix(2) << "Kerberos error: rc=" << failure.code() << ' '
         << tolk::printable(failure.what()) << '\n';
  }
  return version.text;
}

void writeAccount(std::ostream& out, const AccountFacts& facts, std::ostream& verbose,
                  const std::function<std::string()>& keyVersion) {
  out << prefix(1) << "Trusted for Delegation: " << trueOrFalse(facts.trustedForDelegation) << '\n'
      << prefix(1) << "Use DES Key Only: " << trueOrFalse(facts.desKeyOnly) << '\n';
  const std::string version = keyVersion();  // may speak before its line
  out << prefix(1) << "Key Version: " << version << '\n';
  verbose << prefix(1) << "Retrieving " << tolk::AD_SERVER_PRINCIPAL_NAME
          << " from computer object\n";
  std::list<std::string> names;
  for (const std::string& name : facts.principalNames) names.push_back(tolk::printable(name));
  printLabelledList(out, std::string(prefix(1)) + "Service Principal Names: ", names);
  out << '\n';
  writeEncryptionTypes(out, facts.encryptionTypes);
  out << "\nOperating System Version: " << tolk::printable(facts.systemVersion) << "\n\n";
}

void printLabelledList(std::ostream& out, const std::string& label,
                       const std::list<std::string>& items) {
  std::string front = label;
  for (const std::string& item : items) {
    out << front << item << '\n';
    front.assign(label.size(), ' ');
  }
}

void showSupportedEncryptionTypes(tolk::ADObject& object) {
  writeEncryptionTypes(std::cout, accountFacts(object).encryptionTypes);
}

void writeEncryptionTypes(std::ostream& out, std::optional<std::uint32_t> types) {
  static const std::map<std::uint32_t, const char*> names{
      {0x1, "DES-CBC-CRC"},
      {0x2, "DES-CBC-MD5"},
      {0x4, "RC4-HMAC"},
      {0x8, "AES128-CTS-HMAC-SHA1-96"},
      {0x10, "AES256-CTS-HMAC-SHA1-96"},
  };
  const std::string label = "Supported Encryption Type(s): ";
  std::list<std::string> lines;
  if (!types) lines.emplace_back("N/A");
  for (const auto& [bit, name] : names) {
    if ((types.value_or(0) & bit) != 0) lines.emplace_back(name);
  }
  printLabelledList(out, label, lines);
}

}  // namespace joinscope
