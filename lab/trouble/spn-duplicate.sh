# spn-duplicate: "Server not found in Kerberos database" at ssh to host1: a second account has its service principal name
#
# Written past the directory server, which refuses a duplicate and can not even take it away again.
secondOwner() {
  printf '%s\n' 'dn: CN=APP1,CN=Computers,DC=lab,DC=test' 'changetype: modify' "$1: servicePrincipalName" \
    'servicePrincipalName: host/host1.lab.test' |
    inNode dc1 ldbmodify -H tdb:///var/lib/samba/private/sam.ldb.d/DC=LAB,DC=TEST.ldb /dev/stdin >/dev/null
}

breakIt() { secondOwner add; }

# Of another directory: samba-tool spn delete host/host1.lab.test 'APP1$', or setspn -D on Windows.
remedy() { repair; }

repair() { secondOwner delete 2>/dev/null || true; }
