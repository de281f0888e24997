// One search for the object, one for those who claim its names.
#include "facts/computer_object.h"

#include <boost/make_shared.hpp>
#include <iterator>

#include "tolk/base/exceptions.h"
#include "tolk/base/logger.h"
#include "tolk/ldap/ad_binding.h"
#include "tolk/ldap/ad_names.h"
#include "tolk/ldap/dn.h"
#include "tolk/zones/computer_object_helper.h"
#include "tolk/zones/spn_search.h"
#include "tolk/zones/zone_hierarchy.h"

namespace joinscope {
namespace {

bool isDisabled(const tolk::ADObject& object) {
  try {
    return tolk::ComputerObjectHelper::isDisabled(object);
  } catch (const tolk::SystemException&) {
    return false;
  }
}

tolk::ADObjectList findClaimants(tolk::ADBinding& domain, tolk::ADBinding* catalog,
                                 const std::list<std::string>& names) {
  if (catalog != nullptr) {
    try {
      return tolk::findObjsWithSpns(*catalog, names);
    } catch (const tolk::Base_Exception& failure) {
      tolk::Logger::GetThreadPrivateLogger("cli.joinscope")
          .log(tolk::LogLevel::debug,
               std::string("The global catalog failed, searching the domain: ") + failure.what());
    }
  }
  return tolk::findObjsWithSpns(domain, names);
}

std::optional<std::uint32_t> encryptionTypes(const tolk::ADObject& computer) {
  try {
    return computer[tolk::AD_SUPPORTED_ENCTYPES].toUInt();
  } catch (const tolk::SystemException&) {
    return {};
  }
}

}  // namespace

ComputerSearch computerSearch(const tolk::ADBinding& binding, const std::string& samName) {
  return {.filter = "(&(samAccountName=" + tolk::DN::escapeLDAPFilter(samName) +
                    "$)(objectClass=computer))",
          .base = tolk::LDAPBinding::DNSNameToDN(binding.domainName())};
}

boost::shared_ptr<tolk::ADObject> readComputer(tolk::ADBinding& binding,
                                               const ComputerSearch& search,
                                               const char** attributes) {
  const boost::shared_ptr<tolk::ADObjectList> found =
      binding.search(search.filter, search.base, attributes, tolk::SearchScope::subtree, 0, 0,
                     tolk::SearchFlags::none);
  if (found->empty()) throw tolk::NotFoundException("machine account not found");
  auto computer = boost::make_shared<tolk::ADObject>(found->front());
  (*computer)[tolk::TOLK_EXT_FILTER] = tolk::ZoneObjectKind::computer;
  tolk::ZoneHierarchy::GetZoneHierarchy()->extendObject(*computer, binding, {});
  computer->erase(tolk::TOLK_EXT_FILTER);
  return computer;
}

std::vector<const char*> accountAttributes() {
  std::vector<const char*> names;
  for (const char** name = tolk::ComputerObjectHelper::getAttributes(); *name != nullptr; ++name) {
    names.push_back(*name);
  }
  names.insert(names.end(),
               {tolk::AD_NAME, tolk::AD_SERVER_PRINCIPAL_NAME, tolk::AD_KEY_VERSION_NUMBER,
                tolk::AD_SUPPORTED_ENCTYPES, tolk::AD_OS_VERSION, nullptr});
  return names;
}

AccountFacts accountFacts(const tolk::ADObject& computer) {
  const int control = computer.getInt(tolk::AD_USER_ACCNT_CONTROL, 0);
  return {.trustedForDelegation = (control & tolk::UF_TRUSTED_FOR_DELEGATION) != 0,
          .desKeyOnly = (control & tolk::UF_USE_DES_KEY_ONLY) != 0,
          .keyVersion = readNumber(computer, tolk::AD_KEY_VERSION_NUMBER),
          .principalNames = computer.getStrings(tolk::AD_SERVER_PRINCIPAL_NAME),
          .encryptionTypes = encryptionTypes(computer),
          .systemVersion = computer.getString(tolk::AD_OS_VERSION, "")};
}

Claimant claimantOf(const tolk::ADObject& object) {
  return {.dn = object[tolk::AD_DN].toString(), .disabled = isDisabled(object)};
}

std::vector<Claimant> readClaimants(tolk::ADBinding& domain, tolk::ADBinding* catalog,
                                    const std::list<std::string>& names) {
  std::vector<Claimant> claimants;
  for (const tolk::ADObject& object : findClaimants(domain, catalog, names)) {
    claimants.push_back(claimantOf(object));
  }
  return claimants;
}

}  // namespace joinscope
