# keytab-bad-key: kinit -k works, ssh and NFS say "Decrypt integrity check failed": one of the keys in host1's keytab is wrong
#
# The AES 128 key of HOST1$. In the file stand behind the name its type, a time, the version (9 bytes), the key's type
# (17) and length (16).
breakIt() {
  # shellcheck disable=SC2016  # perl's own
  inNode host1 perl -0777 -pi -e 's/(HOST1\$.{9}\x00\x11\x00\x10)(.)/$1 . ~$2/gse' /etc/krb5.keytab
}

remedy() { onHost host1 "rm /etc/krb5.keytab; echo -n '$adminPassword' | adcli join --stdin-password $domain"; }

repair() { joinedAnew; }
