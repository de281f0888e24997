// Every name server of resolv.conf(5), each asked alone.
#pragma once

#include <functional>
#include <string>

#include "facts/dns_answers.h"

namespace joinscope::facts {

/// Asks all of them at once whether they know the domain.
class ResolverSurvey {
 public:
  /// `resolver` must stay where it is and is filled in as the answers come. `choose` is called
  /// once, when it is known of which server the rest is to be asked: the first that has the
  /// domain's records, by time; without any the first that answers; not at all when none does.
  ResolverSurvey(const Inquiry& inquiry, std::string domain, Resolver& resolver,
                 std::function<void(const std::string& server)> choose);

  void start();

 private:
  void ask(NameServer& server);
  void startPing(NameServer& server);
  void consider();

  Inquiry inquiry_;
  std::string domain_;
  Resolver& resolver_;
  std::function<void(const std::string&)> choose_;
  std::size_t open_ = 0;  // servers whose first question is not over
};

}  // namespace joinscope::facts
