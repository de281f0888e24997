// How the rules about the network count and name what they judge.
#pragma once

#include <string>
#include <vector>

#include "facts/facts.h"

namespace joinscope::check {

/// "0.02 s", "3.0 s", "94 s", "1200 s (20 min)"; of any number, whoever wrote it.
std::string secondsText(double seconds);

/// "a", "a and b", "a, b, c, d and 7 more".
std::string listText(const std::vector<std::string>& items);

/// "1 controller", "2 controllers".
std::string countText(std::size_t count, const std::string& noun);

/// "did not answer within 3 s (10.0.0.1:389 ...)": how a question ended that was not answered.
std::string endText(const facts::Asked& asked);

/// "dc1.lab.test (10.0.0.1)", or the address alone where it is the name.
std::string placeText(const facts::Controller& controller, const facts::Endpoint& endpoint);

/// The name of a controller that serves; "" for none.
std::string servingController(const facts::Facts& facts);

/// A command that changes a record of the domain's DNS: `action` is update, add or delete, `rest`
/// what stands behind the record's name.
std::string dnsCommand(const facts::Facts& facts, const std::string& action,
                       const std::string& name, const std::string& rest);

/// Whether a service of a controller answers there; a closed port alone is none.
bool serves(const facts::Endpoint& endpoint);
/// Whether a question that shows it has ended.
bool wasAsked(const facts::Endpoint& endpoint);
/// The same of any endpoint.
bool serves(const facts::Controller& controller);
bool wasAsked(const facts::Controller& controller);

/// The domain's own controllers; catalogs of other domains of the forest are not among them.
std::vector<const facts::Controller*> domainControllers(const facts::Facts& facts);

/// Why what DNS says of this controller's address cannot be so, in words: it answers elsewhere, or
/// somebody else answers there. "" when nothing shows that.
std::string staleText(const facts::Facts& facts, const facts::Controller& controller);

/// Its addresses at which nobody serves.
std::vector<const facts::Endpoint*> deadEndpoints(const facts::Controller& controller);

}  // namespace joinscope::check
