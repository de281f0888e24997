# dead-domains N: N domains in DNS (gone1.lab.test to goneN.lab.test) whose only controller never answers; stays until `lab down`
#
# The forest does not know them: with a cross reference to a domain that has no controller object, samba's KDC answers
# nobody any more. The controllers' addresses (10.99.0.221 on) are there, on a node that drops everything.

scenario() {
  local count=${1:?dead-domains needs a number} number
  [[ $count =~ ^([1-9]|1[0-9]|20)$ ]] || die "dead-domains takes a number from 1 to 20"
  for ((number = 1; number <= count; number++)); do
    echo "add dc.gone$number.$domain A 10.99.0.$((220 + number))"
    echo "add _ldap._tcp.dc._msdcs.gone$number.$domain SRV 0 100 389 dc.gone$number.$domain"
    echo "add _ldap._tcp.gone$number.$domain SRV 0 100 389 dc.gone$number.$domain"
  done | dcDatabase dns.py
  nodeUp gone 10.99.0.220
  inNode gone nft -f - <<<'table inet mute { chain in { type filter hook input priority 0; policy drop; }; }'
  for ((number = 1; number <= count; number++)); do
    echo "addr add 10.99.0.$((220 + number))/24 dev eth0"
  done | inNode gone ip -batch -
  say "$count dead domains in DNS"
}
