# controller-no-address: "Name or service not known" now and then: DNS names a controller that has no address
ghostServices=("_ldap._tcp 389" "_ldap._tcp.dc._msdcs 389" "_kerberos._tcp 88" "_kerberos._udp 88" "_gc._tcp 3268")

ghostRecords() {
  local service
  for service in "${ghostServices[@]}"; do
    echo "$1 ${service% *}.$domain SRV 0 100 ${service#* } ghost1.$domain"
  done | dcDatabase dns.py
}

breakIt() { ghostRecords add; }

remedy() {
  local service name zone
  for service in "${ghostServices[@]}"; do
    name=${service% *} zone=$domain
    [[ $name != *._msdcs ]] || zone=_msdcs.$domain
    onHost dc1 "samba-tool dns delete dc1 $zone ${name%._msdcs} SRV 'ghost1.$domain ${service#* } 0 100' -U 'administrator%$adminPassword'"
  done
}

repair() { ghostRecords remove; }
