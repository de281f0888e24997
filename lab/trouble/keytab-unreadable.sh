# keytab-unreadable: "Is a directory": a container runtime has put an empty folder where host1's keytab belongs
breakIt() {
  inNode host1 rm /etc/krb5.keytab
  inNode host1 mkdir /etc/krb5.keytab
}

remedy() { onHost host1 "rmdir /etc/krb5.keytab; echo -n '$adminPassword' | adcli join --stdin-password $domain"; }

repair() { joinedAnew; }
