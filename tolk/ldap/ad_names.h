// Names of directory attributes, filters and attribute-list markers that the agent uses
// (MS-ADTS 3.1.1).
#pragma once

namespace tolk {

// Root DSE (MS-ADTS 3.1.1.3.2)
inline constexpr char AD_DEFAULT_NAMING_CTX[] = "defaultNamingContext";
inline constexpr char AD_ROOT_NAMING_CTX[] = "rootDomainNamingContext";
inline constexpr char AD_CURRENT_TIME[] = "currentTime";
inline constexpr char AD_CONFIG_NAMING_CTX[] = "configurationNamingContext";
inline constexpr char AD_DNS_HOST_NAME[] = "dNSHostName";
inline constexpr char AD_GC_READY[] = "isGlobalCatalogReady";

// Any object
inline constexpr char AD_NAME[] = "name";
/// Every object read from a server answers to this name, whether or not the server returned the
/// attribute.
inline constexpr char AD_DN[] = "distinguishedName";
inline constexpr char AD_CN[] = "cn";
inline constexpr char AD_OBJECT_CLASS[] = "objectClass";
inline constexpr char AD_OBJECT_SID[] = "objectSid";
inline constexpr char AD_DISPLAY_NAME[] = "displayName";
inline constexpr char AD_DESCRIPTION[] = "description";
inline constexpr char AD_OBJECT_GUID[] = "objectGUID";
inline constexpr char AD_MANAGED_BY[] = "managedBy";
inline constexpr char AD_MANAGED_OBJECTS[] = "managedObjects";  ///< the back link of managedBy
inline constexpr char AD_KEYWORDS[] = "keywords";
inline constexpr char AD_MIXED_DOMAIN[] = "nTMixedDomain";

// Accounts
inline constexpr char AD_SAM_ACCOUNT_NAME[] = "sAMAccountName";
inline constexpr char AD_USER_ACCNT_CONTROL[] = "userAccountControl";
inline constexpr char AD_PWCHG_LAST[] = "pwdLastSet";
inline constexpr char AD_SERVER_PRINCIPAL_NAME[] = "servicePrincipalName";
inline constexpr char AD_KEY_VERSION_NUMBER[] = "msDS-KeyVersionNumber";
inline constexpr char AD_SUPPORTED_ENCTYPES[] = "msDS-SupportedEncryptionTypes";
inline constexpr char AD_OS_SERVICE_PACK[] = "operatingSystemServicePack";
inline constexpr char AD_OS_VERSION[] = "operatingSystemVersion";

/// Matches every object.
inline constexpr char AD_ALL_OBJECTS[] = "(objectClass=*)";
/// In an attribute list of its own: no attributes, only the names of the objects (RFC
/// 4511, 4.5.1.8).
inline constexpr char AD_DN_ONLY[] = "1.1";

// Bits of userAccountControl (MS-ADTS 2.2.16).
inline constexpr int UF_ACCOUNT_DISABLED = 0x2;
inline constexpr int UF_TRUSTED_FOR_DELEGATION = 0x80000;
inline constexpr int UF_USE_DES_KEY_ONLY = 0x200000;

// Attributes that exist in memory only, on objects that were converted from a zone layout.
inline constexpr char TOLK_EXT_FILTER[] = "tolkExtFilter";
inline constexpr char TOLK_ZONE_NAME[] = "tolkZoneName";
inline constexpr char TOLK_ZONE_DN[] = "tolkZoneDN";

}  // namespace tolk
