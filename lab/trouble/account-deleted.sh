# account-deleted: "Client not found in Kerberos database": somebody has deleted the computer object of host1
breakIt() { inNode dc1 ldbdel -r -H /var/lib/samba/private/sam.ldb CN=HOST1,CN=Computers,DC=lab,DC=test >/dev/null; }

remedy() {
  onHost host1 "echo -n '$adminPassword' | adcli join --stdin-password $domain"
  onHost host1 "$(velkdProgram) adopt"
}

repair() {
  joinedAnew
  inNode host1 "$(velkdProgram)" adopt &>"$record/adopt.log"
}
