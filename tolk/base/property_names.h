// The one table of configuration properties: name, key, default, unit and meaning. orvald.conf(5)
// is checked against it.
#pragma once

#include <array>
#include <string_view>

namespace tolk {

/// One property of orvald.conf. Converts to its key where a key is asked for.
struct Property {
  std::string_view name;     ///< the constant's name below
  std::string_view key;      ///< as written in the file; compared without case
  std::string_view value;    ///< the default; empty when there is none
  std::string_view unit;     ///< "seconds", "count", "text", "path", "boolean", "level"
  std::string_view meaning;  ///< one sentence

  // NOLINTNEXTLINE(google-explicit-constructor): a property stands for its key
  constexpr operator std::string_view() const noexcept { return key; }
};

namespace PN {

inline constexpr Property ROOT_LOGGER_NAME{
    "ROOT_LOGGER_NAME", "root.logger.name", "INFO", "level",
    "Least severity that is logged: TRACE, DEBUG, INFO, WARN or ERROR."};
inline constexpr Property TOLKD_CACHE_DISABLE{
    "TOLKD_CACHE_DISABLE", "tolkd.cache.disable", "false", "boolean",
    "Read every directory object anew instead of from the cache."};
inline constexpr Property TOLKD_PAGED_SEARCH_MAX{
    "TOLKD_PAGED_SEARCH_MAX", "tolkd.paged.search.max", "100", "count",
    "Objects in one page of a paged directory search."};
inline constexpr Property VELKD_DNS_RESPONSE_MAXTIME{
    "VELKD_DNS_RESPONSE_MAXTIME", "velkd.dns.response.maxtime", "5", "seconds",
    "Limit of one DNS lookup, all name servers and retries together."};
inline constexpr Property NET_CONNECT_TIMEOUT{
    "NET_CONNECT_TIMEOUT", "net.connect.timeout", "5", "seconds",
    "Limit of one port probe: TCP connect, or connect and SMB negotiate."};
inline constexpr Property NET_NTP_TIMEOUT{"NET_NTP_TIMEOUT", "net.ntp.timeout", "5", "seconds",
                                          "Limit of one NTP query."};
inline constexpr Property NET_DISCOVERY_TIMEOUT{
    "NET_DISCOVERY_TIMEOUT", "net.discovery.timeout", "5", "seconds",
    "Limit of one search for a domain controller, all of its netlogon pings together."};
inline constexpr Property SMB_SESSION_TIMEOUT{
    "SMB_SESSION_TIMEOUT", "smb.session.timeout", "10", "seconds",
    "Limit of each step of a logon over SMB, from the request to its answer."};
inline constexpr Property LDAP_CONNECT_TIMEOUT{"LDAP_CONNECT_TIMEOUT", "ldap.connect.timeout", "5",
                                               "seconds", "Limit of opening one LDAP connection."};
inline constexpr Property LDAP_BIND_TIMEOUT{
    "LDAP_BIND_TIMEOUT", "ldap.bind.timeout", "5", "seconds",
    "Limit of one LDAP bind, of the first answer on an anonymous connection, and of one "
    "connectionless LDAP query. The port probes set it to 5 for their run."};
inline constexpr Property LDAP_SEARCH_TIMEOUT{
    "LDAP_SEARCH_TIMEOUT", "ldap.search.timeout", "20", "seconds",
    "Limit of the wait for the next answer of one LDAP search."};
inline constexpr Property KRB5_KDC_TIMEOUT{
    "KRB5_KDC_TIMEOUT", "krb5.kdc.timeout", "5", "seconds",
    "Limit of one exchange with the key distribution centers of a realm."};
inline constexpr Property KRB5_CONFFILE_NAME{
    "KRB5_CONFFILE_NAME", "krb5.conffile.name", "/etc/krb5.conf", "path",
    "Kerberos configuration that is moved aside when it is malformed."};
inline constexpr Property KRB5_KEYTAB_NAME{"KRB5_KEYTAB_NAME", "krb5.keytab.name",
                                           "/etc/krb5.keytab", "path",
                                           "Keytab with the keys of the computer account."};
inline constexpr Property KRB5_ALLOW_WEAK_CRYPTO{
    "KRB5_ALLOW_WEAK_CRYPTO", "krb5.allow.weak.crypto", "", "boolean",
    "Whether weak Kerberos encryption types are allowed; they are when this is absent."};
inline constexpr Property VELKD_RPC_TIMEOUT{"VELKD_RPC_TIMEOUT", "velkd.rpc.timeout", "10",
                                            "seconds", "Limit of one call to the agent daemon."};
inline constexpr Property JOIN_VELKD_WAIT_TIME{
    "JOIN_VELKD_WAIT_TIME", "join.velkd.wait.time", "60", "seconds",
    "Time to wait for the agent daemon to gather the forest's domain identifiers."};
inline constexpr Property VELKD_IDLE_TIMEOUT{
    "VELKD_IDLE_TIMEOUT", "velkd.idle.timeout", "60", "seconds",
    "Time without a call after which velkd closes a connection."};
inline constexpr Property VELKD_TRANSFER_TIMEOUT{
    "VELKD_TRANSFER_TIMEOUT", "velkd.transfer.timeout", "10", "seconds",
    "Limit for a caller of velkd to send one call, and to take one answer."};
inline constexpr Property VELKD_CACHE_LIFETIME{
    "VELKD_CACHE_LIFETIME", "velkd.cache.lifetime", "5", "seconds",
    "Age up to which velkd answers with an object that it has read before."};
inline constexpr Property VELKD_CHECK_INTERVAL{
    "VELKD_CHECK_INTERVAL", "velkd.check.interval", "60", "seconds",
    "Time between two looks of velkd at the computer object."};
inline constexpr Property VELKD_DIRECTORY_TIMEOUT{"VELKD_DIRECTORY_TIMEOUT",
                                                  "velkd.directory.timeout", "5", "seconds",
                                                  "Limit of one directory read by velkd."};
inline constexpr Property VELKD_RECONNECT_MAXTIME{
    "VELKD_RECONNECT_MAXTIME", "velkd.reconnect.maxtime", "30", "seconds",
    "Longest pause of velkd between two attempts to connect to the domain."};
inline constexpr Property VELKD_IDENTIFIERS_INTERVAL{
    "VELKD_IDENTIFIERS_INTERVAL", "velkd.identifiers.interval", "3600", "seconds",
    "Time after which velkd reads the domain identifier ranges of the forest anew."};

}  // namespace PN

/// All properties, in the order of the manual page.
inline constexpr std::array kProperties{
    &PN::ROOT_LOGGER_NAME,           &PN::TOLKD_CACHE_DISABLE,     &PN::TOLKD_PAGED_SEARCH_MAX,
    &PN::VELKD_DNS_RESPONSE_MAXTIME, &PN::NET_CONNECT_TIMEOUT,     &PN::NET_NTP_TIMEOUT,
    &PN::NET_DISCOVERY_TIMEOUT,      &PN::SMB_SESSION_TIMEOUT,     &PN::LDAP_CONNECT_TIMEOUT,
    &PN::LDAP_BIND_TIMEOUT,          &PN::LDAP_SEARCH_TIMEOUT,     &PN::KRB5_KDC_TIMEOUT,
    &PN::KRB5_CONFFILE_NAME,         &PN::KRB5_KEYTAB_NAME,        &PN::KRB5_ALLOW_WEAK_CRYPTO,
    &PN::VELKD_RPC_TIMEOUT,          &PN::JOIN_VELKD_WAIT_TIME,    &PN::VELKD_IDLE_TIMEOUT,
    &PN::VELKD_TRANSFER_TIMEOUT,     &PN::VELKD_CACHE_LIFETIME,    &PN::VELKD_CHECK_INTERVAL,
    &PN::VELKD_DIRECTORY_TIMEOUT,    &PN::VELKD_RECONNECT_MAXTIME, &PN::VELKD_IDENTIFIERS_INTERVAL,
};

}  // namespace tolk
