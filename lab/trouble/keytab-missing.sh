# keytab-missing: "Key table file '/etc/krb5.keytab' not found": host1 has no keytab
breakIt() { inNode host1 rm /etc/krb5.keytab; }

remedy() { onHost host1 "echo -n '$adminPassword' | adcli join --stdin-password $domain"; }

repair() { joinedAnew; }
