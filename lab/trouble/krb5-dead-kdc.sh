# krb5-dead-kdc: "Cannot contact any KDC for realm": krb5.conf of host1 names a KDC by hand, which is gone
breakIt() {
  keep host1 /etc/krb5.conf
  inNode host1 bash -c 'cat >>/etc/krb5.conf' <<<$'[realms]\n LAB.TEST = {\n  kdc = 10.99.0.199\n }'
}

remedy() { onHost host1 "sed -i '/kdc = 10.99.0.199/d' /etc/krb5.conf"; }

repair() { putBack host1; }
