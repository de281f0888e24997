# krb5-wrong-realm: "Cannot find KDC for realm", "not found in Kerberos database": krb5.conf of host1 names another realm
breakIt() {
  keep host1 /etc/krb5.conf
  inNode host1 sed -i 's/default_realm = .*/default_realm = EXAMPLE.COM/' /etc/krb5.conf
}

remedy() { onHost host1 "sed -i 's/default_realm = .*/default_realm = LAB.TEST/' /etc/krb5.conf"; }

repair() { putBack host1; }
