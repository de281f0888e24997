// The agent's way into its directory, for those who need it now and then from any thread: the
// connections themselves belong to whoever implements it.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tolk/ldap/ad_object.h"
#include "tolk/net/interfaces.h"

namespace tolk {

/// Where this host is, as the directory and its own interfaces say.
struct AgentPlace {
  std::string site;                             ///< "" when none is known
  std::string nextClosestSite;                  ///< "" when none is known
  std::optional<InterfaceDescription> address;  ///< from which the controller is reached
};

/// One conversation with the directory, as the computer account, for one thread. Connections are
/// opened as they are needed and end with it. Every wait in it has its configured limit.
class ADSession {
 public:
  ADSession() = default;
  ADSession(const ADSession&) = delete;
  ADSession& operator=(const ADSession&) = delete;
  virtual ~ADSession() = default;

  /// Whom to ask: a global catalog holds the forest with the attributes that are replicated to it,
  /// a controller its domain.
  enum class Server { globalCatalog, controller };

  /// Whether the controller answers.
  [[nodiscard]] virtual bool isHealthy() = 0;

  /// All objects that match, of everything that the server holds; read in pages. Throws
  /// LDAPException, and what opening a connection throws (MachineBinding).
  [[nodiscard]] virtual ADObjectList search(Server server, const std::string& filter,
                                            const std::vector<std::string>& attributes) = 0;

  /// Objects by name, in the order of the names; the no-object value for one that is not there or
  /// may not be read. Asked for side by side. Throws as search does when there is no connection, or
  /// it is lost or silent.
  [[nodiscard]] virtual std::vector<ADObject> fetch(Server server,
                                                    const std::vector<std::string>& names,
                                                    const std::vector<std::string>& attributes) = 0;

  /// What cannot be found out is empty; throws nothing of the tolk family.
  [[nodiscard]] virtual AgentPlace place() = 0;

  /// The zone that this host is joined to, with marker and description; the no-object value when it
  /// is joined to none. Throws LDAPException, and NotFoundException when the zone is gone.
  [[nodiscard]] virtual ADObject zone() = 0;
};

/// For use by several threads.
class ADAgent {
 public:
  ADAgent() = default;
  ADAgent(const ADAgent&) = delete;
  ADAgent& operator=(const ADAgent&) = delete;
  virtual ~ADAgent() = default;

  /// Connects to a controller of the joined domain. Throws what that throws, NotFoundException when
  /// this host is in no domain.
  [[nodiscard]] virtual std::unique_ptr<ADSession> open() = 0;

  /// Whether this host is joined to a zone that has an object. No network.
  [[nodiscard]] virtual bool inZone() const = 0;

  /// Whether the agent has its connection to the domain at this moment. No network.
  [[nodiscard]] virtual bool isConnected() const = 0;
};

}  // namespace tolk
