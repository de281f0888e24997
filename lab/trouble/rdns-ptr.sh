# rdns-ptr: "Server not found in Kerberos database": rdns is on at host1, and the address of dc1 has another name in reverse DNS
breakIt() {
  keep host1 /etc/krb5.conf
  inNode host1 sed -i 's/rdns = false/rdns = true/' /etc/krb5.conf
  dcDatabase dns.py <<END
remove 10.0.99.10.in-addr.arpa PTR dc1.$domain
add 10.0.99.10.in-addr.arpa PTR vip.$domain
END
}

remedy() { onHost host1 "sed -i 's/rdns = true/rdns = false/' /etc/krb5.conf"; }

repair() {
  putBack host1
  dcDatabase dns.py <<END
remove 10.0.99.10.in-addr.arpa PTR vip.$domain
add 10.0.99.10.in-addr.arpa PTR dc1.$domain
END
}
