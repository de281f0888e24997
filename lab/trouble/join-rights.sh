# join-rights: "Insufficient permissions to modify computer account" at adcli join -U alice on guest1: users may add no computers
#
# By the quota, which Samba's LDAP server does not even look at: there it takes a right on the container at any quota.
container=CN=Computers,DC=lab,DC=test

machineQuota() { printf 'dn: DC=lab,DC=test\nchangetype: modify\nreplace: %s\n%s: %s\n' ms-DS-MachineAccountQuota{,} "$1" | dcModified; }

breakIt() {
  {
    printf 'dn: %s\nchangetype: modify\nreplace: nTSecurityDescriptor\n' "$container"
    dcRead "$container" nTSecurityDescriptor | grep '^nTSecurityDescriptor:'
  } >"$record/rights.ldif"
  machineQuota 0
}

# The right to make and delete computers there; bf967a86-... is their class.
remedy() {
  local alice
  alice=$(inNode dc1 samba-tool user show alice --attributes=objectSid | sed -n 's/^objectSid: //p')
  onHost dc1 "samba-tool dsacl set --objectdn=$container --sddl='(OA;CI;CCDC;bf967a86-0de6-11d0-a285-00aa003049e2;;$alice)'"
}

repair() {
  machineQuota 10
  dcModified <"$record/rights.ldif"
  guestUnjoined GUEST1
}
