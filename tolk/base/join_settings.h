// The persisted join settings of this host: one file a setting, /var/orvald/kset.NAME, trimmed
// content is the value.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tolk {

/// Where the agent keeps its state.
inline constexpr char kStateDirectory[] = "/var/orvald";

inline constexpr std::string_view SETTING_DOMAIN_NAME = "domain";
inline constexpr std::string_view SETTING_HOST_NAME = "hostname";
inline constexpr std::string_view SETTING_PREW2K_HOST_NAME = "prew2khostname";
inline constexpr std::string_view SETTING_MACHINE_SITE = "site";
inline constexpr std::string_view SETTING_SUBNET_SITE = "subnetsite";
inline constexpr std::string_view SETTING_ZONE_REALNAME = "zone";
inline constexpr std::string_view SETTING_ZONE_GUID = "zoneguid";
inline constexpr std::string_view SETTING_SCHEMA = "schema";
inline constexpr std::string_view SETTING_GLOBAL_CATALOG = "globalcatalog";
inline constexpr std::string_view SETTING_DOMAIN_CONTROLLER = "domaincontroller";
inline constexpr std::string_view SETTING_HOSTSID = "hostsid";
inline constexpr std::string_view SETTING_DES_SALT = "dessalt";
inline constexpr std::string_view SETTING_CLOUD_CONNECTORS = "cloudconnectors";

// Values of SETTING_SCHEMA: in which layout the joined zone is kept, or that there is no zone
// object.
inline constexpr std::string_view SCHEMA_AUTO = "auto";  ///< one zone of the whole forest
inline constexpr std::string_view SCHEMA_NULL = "null";  ///< joined without a zone
inline constexpr std::string_view SCHEMA_ORV_V1_0 = "orv_v1_0";
inline constexpr std::string_view SCHEMA_ORV_V2_0 = "orv_v2_0";
inline constexpr std::string_view SCHEMA_ORV_R2 = "orv_r2";
inline constexpr std::string_view SCHEMA_SFU_V3_0 = "sfu_v3_0";
inline constexpr std::string_view SCHEMA_SFU_V3_0V1 = "sfu_v3_0v1";

/// The settings below one directory; those of the join before it lie in its subdirectory
/// "previous". Nothing is cached.
class JoinSettings {
 public:
  explicit JoinSettings(std::string directory);

  /// One setting's value. Missing or empty: "" or, with `mustExist`, a NotFoundException naming the
  /// file. A file that is there but cannot be read, or is over 1 MiB, throws IOException.
  /// `previous` reads the join before this one.
  [[nodiscard]] std::string load(std::string_view name, bool previous, bool mustExist) const;

  /// Whether domain and host name are set. Throws IOException when that cannot be read.
  [[nodiscard]] bool joined() const;

  /// The pre-Windows-2000 (NetBIOS) name: the setting, or the first label of the joined host name,
  /// or of this system's when there is none, in upper case and cut at 15 characters. Throws
  /// IOException as load does.
  [[nodiscard]] std::string preW2KHostName() const;

  /// What keeps this join from being told: settings that cannot be read, and domain, host name or
  /// identifier missing while others are there. A sentence each, naming the file; none for a host
  /// without any setting.
  [[nodiscard]] std::vector<std::string> damage() const;

  /// Checks domain, host name and keytab; throws TOLKException naming the first that is not usable
  /// and the remedy.
  void checkEssential(const std::string& keytabPath) const;

 private:
  [[nodiscard]] std::string pathOf(std::string_view name, bool previous) const;

  std::string directory_;
};

/// The functions below work on kStateDirectory.

/// As JoinSettings::load.
std::string loadSetting(std::string_view name, bool previous = false, bool mustExist = false);

/// Whether this host is joined: domain and host name are set. Throws IOException when the state
/// cannot be read.
bool joined();

/// As JoinSettings::preW2KHostName.
std::string PreW2KHostName();

/// The fully qualified name the host is joined as, "" when not joined.
std::string longJoinedHostName();

/// Checks that domain, host name and keytab (PN::KRB5_KEYTAB_NAME) of a joined host are usable;
/// throws TOLKException naming what is not and the remedy.
void CheckEssentialKSets();

}  // namespace tolk
