# dead-controllers N: N more controllers in DNS (dead1 to deadN, 10.99.0.201 to .250, then 10.99.1.1 on) whose addresses are there but never answer; 0 takes them away
#
# The addresses belong to a node that answers ARP and drops everything else, so a connection ends by the caller's
# own time limit and by nothing sooner.

# deadAddress NUMBER
deadAddress() {
  if (($1 <= 50)); then echo "10.99.0.$((200 + $1))"; else echo "10.99.1.$(($1 - 50))"; fi
}

# deadRecords ACTION NUMBER: lines for dns.py, as a real controller has them.
deadRecords() {
  local host=dead$2.$domain site=Default-First-Site-Name._sites row
  echo "$1 $host A $(deadAddress "$2")"
  for row in "_ldap._tcp 389" "_ldap._tcp.dc._msdcs 389" "_ldap._tcp.$site 389" "_ldap._tcp.$site.dc._msdcs 389" \
    "_kerberos._tcp 88" "_kerberos._udp 88" "_kerberos._tcp.$site 88" "_kerberos._tcp.dc._msdcs 88" \
    "_kerberos._tcp.$site.dc._msdcs 88" "_kpasswd._tcp 464" "_kpasswd._udp 464" \
    "_gc._tcp 3268" "_gc._tcp.$site 3268" "_ldap._tcp.gc._msdcs 3268" "_ldap._tcp.$site.gc._msdcs 3268"; do
    echo "$1 ${row% *}.$domain SRV 0 100 ${row#* } $host"
  done
}

scenario() {
  local count=${1:?dead-controllers needs a number} record=$state/dead-controllers before number
  [[ $count =~ ^([0-9]|[1-9][0-9]|[12][0-9][0-9]|300)$ ]] || die "dead-controllers takes a number from 0 to 300"
  before=$(cat "$record" 2>/dev/null || echo 0)
  # First of all, so that a broken run can be taken back.
  echo "$((count > before ? count : before))" >"$record"
  {
    for ((number = count + 1; number <= before; number++)); do deadRecords remove "$number"; done
    for ((number = 1; number <= count; number++)); do deadRecords add "$number"; done
  } | dcDatabase dns.py
  if nodePid dead >/dev/null; then nodeDown dead; fi
  if ((count > 0)); then
    nodeUp dead 10.99.0.200
    inNode dead nft -f - <<<'table inet mute { chain in { type filter hook input priority 0; policy drop; }; }'
    for ((number = 1; number <= count; number++)); do
      echo "addr add $(deadAddress "$number")/24 dev eth0"
    done | inNode dead ip -batch -
    # Those of the second subnet answer ARP on the same link.
    ((count <= 50)) || inNode host1 ip route replace 10.99.1.0/24 dev eth0
  fi
  echo "$count" >"$record"
  say "$count dead controllers in DNS"
}
