// This host's computer account: the object in the directory, and --computer, the report about it.
#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <list>
#include <optional>
#include <string>

#include "facts/computer_object.h"
#include "tolk/ldap/ad_object.h"

namespace joinscope {

struct TaskContext;

/// The section "Computer Account Diagnostics" on standard output; also the task --computer. Returns
/// 0, 10 when this host is not joined, 6 without a domain, 23 when there is no object (or no
/// binding: its message has been printed).
int showComputerAccount(TaskContext& context, const char* server, std::ostream* verbose);

/// The computer object whose account name is `samName` and "$", with `attributes` (null-terminated)
/// and what the zones add to it. Empty without a binding, and when there is none, which is told on
/// standard output. `server` and `verbose` may be null. Throws nothing.
boost::shared_ptr<tolk::ADObject> findComputerAccount(TaskContext& context,
                                                      const std::string& samName,
                                                      const char** attributes, const char* server,
                                                      std::ostream* verbose);

/// What stands behind "Key Version: ": the version in the directory, and what can be said about the
/// local keytab. Somebody who is not root is told so on standard output.
std::string keyVersionText(TaskContext& context, tolk::ADObject& object, std::ostream* verbose);

/// The section behind "Joined as". `keyVersion` is called at the place of its text.
void writeAccount(std::ostream& out, const AccountFacts& facts, std::ostream& verbose,
                  const std::function<std::string()>& keyVersion);

/// The label in front of the first item, blanks of its length in front of the others. No item, no
/// label.
void printLabelledList(std::ostream& out, const std::string& label,
                       const std::list<std::string>& items);

/// The encryption types of the object on standard output, one a line.
void showSupportedEncryptionTypes(tolk::ADObject& object);

/// The text of that for a value of msDS-SupportedEncryptionTypes (MS-KILE 2.2.7); without a value,
/// "N/A".
void writeEncryptionTypes(std::ostream& out, std::optional<std::uint32_t> types);

}  // namespace joinscope
