# enctypes-policy: "no suitable keys", "KDC has no support for encryption type": krb5.conf of host1 permits types alone that the domain does not know
breakIt() {
  keep host1 /etc/krb5.conf
  inNode host1 sed -i '/^\[libdefaults\]/a \ permitted_enctypes = aes256-cts-hmac-sha384-192' /etc/krb5.conf
}

remedy() { onHost host1 "sed -i '/permitted_enctypes/d' /etc/krb5.conf"; }

repair() { putBack host1; }
