// What the tasks of one run share: whom the run acts for, the host's join, the domain to work on,
// and the directory bindings once they have been made.
#pragma once

#include <boost/shared_ptr.hpp>
#include <iosfwd>
#include <memory>
#include <string>

#include "tolk/ldap/ad_object.h"

namespace tolk {
class ADBinding;
class JoinSettings;
class KerberosContext;
struct KerberosCCache;
}  // namespace tolk

namespace joinscope {

struct UserCredentials;

/// Stands for every value that is missing or cannot be read, in all reports.
inline constexpr char kUnavailable[] = "<unavailable>";

/// Made once before the task runs and released at the end of the run. getBinding() of cli/account
/// fills the binding members.
/// There is one of them: members that belong together stay together, whatever the padding.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct TaskContext {
  /// Reads the join settings of this host. Nothing is thrown for a setting that is missing or
  /// cannot be read: it is "<unavailable>" (the domain of a host that has none is empty), and a
  /// host whose join state cannot be read counts as not joined. `taskCredentials` and
  /// `domainArgument` may be null; `told`, which may be null, is told what is wrong with the
  /// settings: a report that can only say "not joined" says too much then.
  TaskContext(UserCredentials* taskCredentials, const char* domainArgument, std::ostream* told);
  /// The same from other settings.
  TaskContext(UserCredentials* taskCredentials, const char* domainArgument, std::ostream* told,
              const tolk::JoinSettings& settings);
  TaskContext(const TaskContext&) = delete;
  TaskContext& operator=(const TaskContext&) = delete;
  /// Releases the domain binding, the global-catalog binding, the memory cache and the Kerberos
  /// context, in this order: each needs the ones behind it.
  ~TaskContext();

  std::unique_ptr<tolk::KerberosContext> kerberosContext;  ///< null until ensureKerberosContext()
  std::unique_ptr<tolk::KerberosCCache> memCache;          ///< null until the first bind
  UserCredentials* credentials = nullptr;  ///< null: the machine's own credentials are used
  bool domainGiven = false;                ///< the task's argument named a domain
  bool joined = false;
  std::string joinedDomain;      ///< empty when this host is not joined
  std::string hostName;          ///< as joined; joined hosts only
  std::string preWin2kHostName;  ///< NetBIOS name; joined hosts only
  std::string domain;            ///< the domain to work on: the argument, else the joined one
  std::string serverName;        ///< the server that the user named; else empty
  std::string forestName;
  std::string site;  ///< where this host is, as far as known; written again by every bind
  std::string configNamingContext;
  bool win2kController = false;  ///< a Windows 2000 controller was seen
  bool bindFailed = false;       ///< a bind has failed for good; it is not tried again
  std::string errorMessage;      ///< what a task prints when it gets no binding
  int errorCode = 0;             ///< the exit status that goes with errorMessage
  boost::shared_ptr<tolk::ADBinding> binding;
  bool gcBindFailed = false;
  boost::shared_ptr<tolk::ADBinding> gcBinding;  ///< to a global catalog
  boost::shared_ptr<tolk::ADObjectList> standardZones;
  boost::shared_ptr<tolk::ADObjectList> rfc2307Zones;
  boost::shared_ptr<tolk::ADObjectList> sfuZones;
  bool zonesLoaded = false;
  std::string logBegin;     ///< start of the journal window of --support, as given
  std::string logEnd;       ///< its end
  int lastHours = 0;        ///< or its length up to now; 0 when not given
  bool useJournal = false;  ///< the system keeps its log in the journal
};

}  // namespace joinscope
