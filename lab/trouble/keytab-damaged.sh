# keytab-damaged: "Unsupported key table format version number", "Bad format in keytab": the start of host1's keytab is overwritten
breakIt() {
  keep host1 /etc/krb5.keytab
  inNode host1 dd if=/dev/zero of=/etc/krb5.keytab bs=1 count=64 conv=notrunc status=none
}

remedy() { onHost host1 "rm /etc/krb5.keytab; echo -n '$adminPassword' | adcli join --stdin-password $domain"; }

repair() { joinedAnew; }
