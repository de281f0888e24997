// The key version in the directory against the local one.
#include <unistd.h>

#include <iostream>

#include "cli/account/computer_account.h"
#include "cli/account/local_keys.h"
#include "cli/common/output.h"
#include "cli/common/task_context.h"
#include "tolk/base/exceptions.h"
#include "tolk/base/text.h"
#include "tolk/ldap/ad_names.h"

namespace joinscope {
namespace {

struct DirectoryVersion {
  std::string text = {};
  bool known = false;
  int number = 0;
};

DirectoryVersion readVersion(const tolk::ADObject& object, std::ostream* verbose) {
  const char* const name = tolk::AD_KEY_VERSION_NUMBER;
  if (!object.attributeExists(name, true)) {
    if (verbose != nullptr) {
      *verbose << prefix(2) << "Computer account is missing index: " << name << '\n';
    }
    return {};
  }
  try {
    const int number = object[name].toInt();
    if (verbose != nullptr) {
      *verbose << prefix(2) << "Kerberos key number from computer account: " << number << '\n';
    }
    return {std::to_string(number), true, number};
  } catch (const tolk::SystemException& failure) {
    if (verbose != nullptr) {
      *verbose << prefix(2) << "While accessing index " << name << ": "
               << tolk::printable(failure.what()) << '\n';
    }
    return {};
  }
}

DirectoryVersion directoryVersion(const TaskContext& context, const tolk::ADObject& object,
                                  std::ostream* verbose) {
  if (context.win2kController) {
    if (verbose != nullptr) {
      *verbose << prefix(2) << "Kerberos key numbers in Windows 2000 are always 0\n";
    }
    return {"0", true};
  }
  return object.empty() ? DirectoryVersion{} : readVersion(object, verbose);
}

}  // namespace

std::string keyVersionText(TaskContext& context, tolk::ADObject& object, std::ostream* verbose) {
  const DirectoryVersion version = directoryVersion(context, object, verbose);
  if (::geteuid() != 0) {
    std::cout << prefix(1) << "Run joinscope as root to examine local key info\n";
    return version.text + "   (local key version unavailable)";
  }
  try {
    const int local = latestLocalKeyVersion(context, verbose);
    // A version that the directory tells stands alone.
    if (!version.known && local != version.number) {
      return version.text + "   (local key version: " + std::to_string(local) + ")";
    }
  } catch (const tolk::KerberosException& failure) {
    if (verbose != nullptr) {
      *verbose << prefix(2) << "Kerberos error: rc=" << failure.code() << ' '
               << tolk::printable(failure.what()) << '\n';
    }
  }
  return version.text;
}

}  // namespace joinscope
