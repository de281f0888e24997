# own-record-stale: ssh to host1 reaches nobody or another host: DNS has an old address for host1
breakIt() {
  dcDatabase dns.py <<END
remove host1.$domain A $hostAddress
add host1.$domain A 10.99.0.77
END
}

remedy() { onHost dc1 "samba-tool dns update dc1 $domain host1 A 10.99.0.77 $hostAddress -U 'administrator%$adminPassword'"; }

repair() {
  dcDatabase dns.py <<END
remove host1.$domain A 10.99.0.77
add host1.$domain A $hostAddress
END
}
