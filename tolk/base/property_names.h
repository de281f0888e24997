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
  std::string_view unit;     ///< "seconds", "MiB", "count", "text", "path", "boolean", "level"
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
inline constexpr Property NET_DNS_RETRY_DELAY{
    "NET_DNS_RETRY_DELAY", "net.dns.retry.delay", "30", "seconds",
    "Time for which a DNS server that gave no sign of life is not asked again."};
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
    "Limit of one LDAP search, all of its pages together; each 1000 answers that have come add as "
    "much again, up to 100 times."};
inline constexpr Property KRB5_KDC_TIMEOUT{
    "KRB5_KDC_TIMEOUT", "krb5.kdc.timeout", "5", "seconds",
    "Limit of one exchange with the key distribution centers of a realm."};
inline constexpr Property KRB5_CONFFILE_NAME{
    "KRB5_CONFFILE_NAME", "krb5.conffile.name", "/etc/krb5.conf", "path",
    "Kerberos configuration that is moved aside when the Kerberos library reads it and it is "
    "malformed itself."};
inline constexpr Property KRB5_KEYTAB_NAME{"KRB5_KEYTAB_NAME", "krb5.keytab.name",
                                           "/etc/krb5.keytab", "path",
                                           "Keytab with the keys of the computer account."};
inline constexpr Property KRB5_ALLOW_WEAK_CRYPTO{
    "KRB5_ALLOW_WEAK_CRYPTO", "krb5.allow.weak.crypto", "true", "boolean",
    "Whether weak Kerberos encryption types are allowed."};
inline constexpr Property VELKD_RPC_TIMEOUT{"VELKD_RPC_TIMEOUT", "velkd.rpc.timeout", "10",
                                            "seconds",
                                            "Limit of one call to the agent daemon; velkd itself "
                                            "answers in nine tenths of it at most."};
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

inline constexpr Property SUPPORT_COMMAND_TIMEOUT{
    "SUPPORT_COMMAND_TIMEOUT", "support.command.timeout", "120", "seconds",
    "Limit of one command or script that a report runs."};
inline constexpr Property SUPPORT_BUNDLE_LOG_MAX{
    "SUPPORT_BUNDLE_LOG_MAX", "support.bundle.log.max", "256", "MiB",
    "Most that a support bundle holds of the report, of the stack trace, of the agent's log and "
    "of its configuration, each, before it is compressed."};
inline constexpr Property SUPPORT_BUNDLE_PATHS_MAX{
    "SUPPORT_BUNDLE_PATHS_MAX", "support.bundle.paths.max", "1024", "MiB",
    "Most that a support bundle holds of the paths named with -P, together, before it is "
    "compressed."};

// The cloud client
inline constexpr Property CLOUD_PROXY_SERVER{"CLOUD_PROXY_SERVER", "cloud.proxy.server", "", "text",
                                             "Web proxy to the cloud platform, HOST or HOST:PORT "
                                             "(8080 when it is left out); none when empty."};
inline constexpr Property CLOUD_PROXY_AUTH_REQUIRED{
    "CLOUD_PROXY_AUTH_REQUIRED", "cloud.proxy.auth.required", "false", "boolean",
    "Whether the web proxy asks for a user; the credential is stored by velkd proxy-credential."};
inline constexpr Property CLOUD_PROXY_AUTH_TYPE{
    "CLOUD_PROXY_AUTH_TYPE", "cloud.proxy.auth.type", "AnyAuth", "text",
    "How to prove the user to the web proxy: Negotiate, NTLM, Digest, Basic or AnyAuth."};
inline constexpr Property CLOUD_PROXY_CRED_EXP_CHK_TIME{
    "CLOUD_PROXY_CRED_EXP_CHK_TIME", "cloud.proxy.cred.exp.chk.time", "3600", "seconds",
    "Kerberos credentials for the web proxy that end within this time are not used again."};
inline constexpr Property CLOUD_DIRECT_CONNECTION{
    "CLOUD_DIRECT_CONNECTION", "cloud.direct.connection", "false", "boolean",
    "Whether the cloud platform is reached without any web proxy or connector."};
inline constexpr Property CLOUD_CURL_TIMEOUT{"CLOUD_CURL_TIMEOUT", "cloud.curl.timeout", "30",
                                             "seconds",
                                             "Limit of one HTTP transfer of the cloud client."};
inline constexpr Property CLOUD_CONNECT_TIMEOUT{
    "CLOUD_CONNECT_TIMEOUT", "cloud.connect.timeout", "5", "seconds",
    "Limit of making one connection of the cloud client, its proxy and certificate included."};
inline constexpr Property CLOUD_ALLOW_HTTP{
    "CLOUD_ALLOW_HTTP", "cloud.allow.http", "false", "boolean",
    "Accept addresses of the cloud platform and the site check that begin with http://; passwords "
    "then travel in clear to whoever answers, so it is for test platforms alone."};
inline constexpr Property CLOUD_REST_VERSION{
    "CLOUD_REST_VERSION", "cloud.rest.version", "1.0S", "text",
    "REST interface of the cloud platform: 0, 1.0 or 1.0S."};
inline constexpr Property CLOUD_IWA_URL_OVERRIDE{
    "CLOUD_IWA_URL_OVERRIDE", "cloud.iwa.url.override", "", "text",
    "Address of the site check, in place of the current connector's."};
inline constexpr Property CLOUD_CONNECTOR_OVERRIDE{
    "CLOUD_CONNECTOR_OVERRIDE", "cloud.connector.override", "", "text",
    "HOST:PORT of the one cloud connector to use, in place of a search."};
inline constexpr Property CLOUD_CONNECTOR_TRUSTED{
    "CLOUD_CONNECTOR_TRUSTED", "cloud.connector.trusted", "", "text",
    "Distinguished names, separated by ';', of the cloud connectors' computers or of containers "
    "above them, in place of the zone's; no connector outside of them is used."};
inline constexpr Property CLOUD_CONNECTOR_LOCAL{
    "CLOUD_CONNECTOR_LOCAL", "cloud.connector.local", "false", "boolean",
    "Whether only cloud connectors of this host's own site are searched for."};
inline constexpr Property CLOUD_CONNECTOR_REFRESH_INTERVAL{
    "CLOUD_CONNECTOR_REFRESH_INTERVAL", "cloud.connector.refresh.interval", "28800", "seconds",
    "Time between two searches for cloud connectors; 0 searches no more."};
inline constexpr Property DEFAULT_CLOUD_CONNECTOR_SUBNET_PREFERENCE{
    "DEFAULT_CLOUD_CONNECTOR_SUBNET_PREFERENCE", "default.cloud.connector.subnet.preference",
    "true", "boolean",
    "Whether cloud connectors in this host's subnet are tried before others of its site."};
inline constexpr Property VELKD_LEGACYZONE_MFA_ENABLED{
    "VELKD_LEGACYZONE_MFA_ENABLED", "velkd.legacyzone.mfa.enabled", "false", "boolean",
    "Multi-factor authentication in a classic zone."};
inline constexpr Property VELKD_LEGACYZONE_MFA_CLOUDURL{
    "VELKD_LEGACYZONE_MFA_CLOUDURL", "velkd.legacyzone.mfa.cloudurl", "", "text",
    "Cloud platform address of a classic zone."};
inline constexpr Property VELKD_LEGACYZONE_MFA_TENANTID{
    "VELKD_LEGACYZONE_MFA_TENANTID", "velkd.legacyzone.mfa.tenantid", "", "text",
    "Cloud platform instance of a classic zone."};
inline constexpr Property VELKD_CLOUD_LOG_PRIVEVENT{
    "VELKD_CLOUD_LOG_PRIVEVENT", "velkd.cloud.log.privevent", "false", "boolean",
    "Whether privilege events are posted to the cloud platform."};
inline constexpr Property VELKD_CLOUD_MFA_PAYLOADS{
    "VELKD_CLOUD_MFA_PAYLOADS", "velkd.cloud.mfa.payloads", "false", "boolean",
    "Whether a multi-factor request carries what the user is about to run."};
inline constexpr Property VELKD_CLOUD_AUTH_CONN_MAX{
    "VELKD_CLOUD_AUTH_CONN_MAX", "velkd.cloud.auth.conn.max", "10", "count",
    "Most HTTP transfers for multi-factor authentication at one time."};
inline constexpr Property VELKD_CLOUD_SKIP_CERT_VERIFICATION{
    "VELKD_CLOUD_SKIP_CERT_VERIFICATION", "velkd.cloud.skip.cert.verification", "false", "boolean",
    "Accept any certificate of the cloud platform."};
inline constexpr Property VELKD_CLOUD_CERT_STORE{
    "VELKD_CLOUD_CERT_STORE", "velkd.cloud.cert.store", "", "path",
    "File with the authorities that the cloud platform's certificate is checked against; the "
    "system's own when empty."};
inline constexpr Property VELKD_IWA_SKIP_CERT_VERIFICATION{
    "VELKD_IWA_SKIP_CERT_VERIFICATION", "velkd.iwa.skip.cert.verification", "false", "boolean",
    "Accept any certificate of the site check's web server."};
inline constexpr Property ADSEC_CERT_DIR{
    "ADSEC_CERT_DIR", "adsec.cert.dir", "/etc/ssl/certs", "path",
    "Directory with the authorities that the site check's certificate is checked against, one file "
    "a hash (openssl rehash)."};
inline constexpr Property TOLKD_MAX_CLIENT_THREADS{
    "TOLKD_MAX_CLIENT_THREADS", "tolkd.max.client.threads", "20", "count",
    "Most callers that the cloud client serves at one time."};
inline constexpr Property TOLKD_CLIENT_IDLE_TIMEOUT{
    "TOLKD_CLIENT_IDLE_TIMEOUT", "tolkd.client.idle.timeout", "900", "seconds",
    "Time after which an HTTP transfer that was lent and not returned is taken back."};

}  // namespace PN

/// All properties, in the order of the manual page.
inline constexpr std::array kProperties{
    &PN::ROOT_LOGGER_NAME,
    &PN::TOLKD_CACHE_DISABLE,
    &PN::TOLKD_PAGED_SEARCH_MAX,
    &PN::VELKD_DNS_RESPONSE_MAXTIME,
    &PN::NET_DNS_RETRY_DELAY,
    &PN::NET_CONNECT_TIMEOUT,
    &PN::NET_NTP_TIMEOUT,
    &PN::NET_DISCOVERY_TIMEOUT,
    &PN::SMB_SESSION_TIMEOUT,
    &PN::LDAP_CONNECT_TIMEOUT,
    &PN::LDAP_BIND_TIMEOUT,
    &PN::LDAP_SEARCH_TIMEOUT,
    &PN::KRB5_KDC_TIMEOUT,
    &PN::KRB5_CONFFILE_NAME,
    &PN::KRB5_KEYTAB_NAME,
    &PN::KRB5_ALLOW_WEAK_CRYPTO,
    &PN::VELKD_RPC_TIMEOUT,
    &PN::JOIN_VELKD_WAIT_TIME,
    &PN::VELKD_IDLE_TIMEOUT,
    &PN::VELKD_TRANSFER_TIMEOUT,
    &PN::VELKD_CACHE_LIFETIME,
    &PN::VELKD_CHECK_INTERVAL,
    &PN::VELKD_DIRECTORY_TIMEOUT,
    &PN::VELKD_RECONNECT_MAXTIME,
    &PN::VELKD_IDENTIFIERS_INTERVAL,
    &PN::SUPPORT_COMMAND_TIMEOUT,
    &PN::SUPPORT_BUNDLE_LOG_MAX,
    &PN::SUPPORT_BUNDLE_PATHS_MAX,
    &PN::CLOUD_PROXY_SERVER,
    &PN::CLOUD_PROXY_AUTH_REQUIRED,
    &PN::CLOUD_PROXY_AUTH_TYPE,
    &PN::CLOUD_PROXY_CRED_EXP_CHK_TIME,
    &PN::CLOUD_DIRECT_CONNECTION,
    &PN::CLOUD_CURL_TIMEOUT,
    &PN::CLOUD_CONNECT_TIMEOUT,
    &PN::CLOUD_ALLOW_HTTP,
    &PN::CLOUD_REST_VERSION,
    &PN::CLOUD_IWA_URL_OVERRIDE,
    &PN::CLOUD_CONNECTOR_OVERRIDE,
    &PN::CLOUD_CONNECTOR_TRUSTED,
    &PN::CLOUD_CONNECTOR_LOCAL,
    &PN::CLOUD_CONNECTOR_REFRESH_INTERVAL,
    &PN::DEFAULT_CLOUD_CONNECTOR_SUBNET_PREFERENCE,
    &PN::VELKD_LEGACYZONE_MFA_ENABLED,
    &PN::VELKD_LEGACYZONE_MFA_CLOUDURL,
    &PN::VELKD_LEGACYZONE_MFA_TENANTID,
    &PN::VELKD_CLOUD_LOG_PRIVEVENT,
    &PN::VELKD_CLOUD_MFA_PAYLOADS,
    &PN::VELKD_CLOUD_AUTH_CONN_MAX,
    &PN::VELKD_CLOUD_SKIP_CERT_VERIFICATION,
    &PN::VELKD_CLOUD_CERT_STORE,
    &PN::VELKD_IWA_SKIP_CERT_VERIFICATION,
    &PN::ADSEC_CERT_DIR,
    &PN::TOLKD_MAX_CLIENT_THREADS,
    &PN::TOLKD_CLIENT_IDLE_TIMEOUT,
};

}  // namespace tolk
