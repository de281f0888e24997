# krb5-malformed: "Improper format of Kerberos configuration file": krb5.conf of host1 has a brace too few
#
# The agent moves such a file aside, to krb5.conf.bad, when it next reads it.
breakIt() {
  keep host1 /etc/krb5.conf /etc/krb5.conf.bad
  inNode host1 bash -c 'cat >>/etc/krb5.conf' <<<$'[realms]\n LAB.TEST =\n  kdc = dc1.lab.test\n }'
}

remedy() { onHost host1 "cd /etc; [ ! -e krb5.conf.bad ] || mv krb5.conf.bad krb5.conf; sed -i 's/^ LAB.TEST =\$/& {/' krb5.conf"; }

repair() { putBack host1; }
