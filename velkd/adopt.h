// Makes the join of a host that another tool has joined known to the agent, and forgets it again.
#pragma once

#include <exception>
#include <iosfwd>
#include <string>
#include <vector>

#include "tolk/krb5/keytab.h"
#include "velkd/options.h"

namespace velkd {

/// Why a join is not adopted, with the remedy.
class AdoptRefusal : public std::exception {
 public:
  AdoptRefusal(std::string message, int status) : message_(std::move(message)), status_(status) {}
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }
  [[nodiscard]] int status() const noexcept { return status_; }

 private:
  std::string message_;
  int status_;
};

/// The account to adopt: of `domain` when that is not empty, else of the only realm there is; of
/// several accounts in that realm the one with the name of this host, else the one with the newest
/// key. Throws AdoptRefusal.
[[nodiscard]] tolk::KeytabAccount chooseAccount(const std::vector<tolk::KeytabAccount>& accounts,
                                                const std::string& domain,
                                                const std::string& hostName,
                                                const std::string& keytab);

/// Looks at keytab, DNS and directory and writes the join settings; tells on `out` what it has
/// found and written. Throws AdoptRefusal, or IOException when the settings cannot be written.
void adopt(const Options& options, std::ostream& out);

/// Moves the join settings to the previous ones. Throws AdoptRefusal when there are none,
/// IOException.
void unadopt(std::ostream& out);

}  // namespace velkd
