// The persisted join settings of this host: one file a setting, /var/orvald/kset.NAME, trimmed content is the value.
#pragma once

#include <string>
#include <string_view>

namespace tolk {

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

/// One setting's value. Missing or empty: "" or, with `mustExist`, a NotFoundException naming the file. A file that is there but cannot be
/// read throws IOException. `previous` reads the settings of the join before this one.
std::string loadSetting(std::string_view name, bool previous, bool mustExist);

/// Whether this host is joined: domain and host name are set. Throws IOException when the state cannot be read.
bool joined();

/// The pre-Windows-2000 (NetBIOS) name: the setting, or the host name's first label in upper case, cut at 15 characters.
std::string PreW2KHostName();

/// The fully qualified name the host is joined as, "" when not joined.
std::string longJoinedHostName();

/// Checks that domain, host name and keytab of a joined host are usable; throws TOLKException naming what is not and the remedy.
void CheckEssentialKSets();

}  // namespace tolk
