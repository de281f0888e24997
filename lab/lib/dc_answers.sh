# Runs on a domain controller: true when each of its services answers and its own DNS names it. Argument: its full
# name. The caller limits the time: against a mute service some of these clients would wait for ever.
name=$1
domain=${name#*.}
address=$(awk -v name="$name" '$2 == name { print $1 }' /etc/hosts)

# rootDse URL: the directory answers there and calls itself synchronized.
rootDse() { ldapsearch -x -LLL -H "$1" -b '' -s base isSynchronized 2>/dev/null | grep -q TRUE; }

# inDns SERVICE: the server's own DNS has a SRV record of the service that names it.
inDns() { dig +short +time=1 +tries=1 "@$address" "$1.$domain" SRV | grep -qi " $name\\.$"; }

for port in 389 3268 88 445 464 53; do
  { : >"/dev/tcp/$address/$port"; } 2>/dev/null || exit 1
done
rootDse "ldap://$address" && rootDse "ldap://$address:3268" && inDns _gc._tcp && inDns _kerberos._udp &&
  [[ -e /run/chrony/chronyd.pid ]] && kill -0 "$(</run/chrony/chronyd.pid)"
