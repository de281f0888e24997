# keytab-behind: "Preauthentication failed", "Cannot find key of appropriate type": an old keytab has come back from a backup
breakIt() {
  inNode host1 cp -p /etc/krb5.keytab /etc/krb5.keytab.old
  newPassword host1
  inNode host1 mv /etc/krb5.keytab.old /etc/krb5.keytab
}

remedy() { onHost host1 "echo -n '$adminPassword' | adcli join --stdin-password $domain"; }

repair() { joinedAnew; }
