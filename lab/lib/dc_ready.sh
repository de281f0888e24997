# Runs on a domain controller: waits until each of its services answers and its own DNS names it. Arguments: its full
# name, seconds.
name=$1
domain=${name#*.}
address=$(awk -v name="$name" '$2 == name { print $1 }' /etc/hosts)
deadline=$((SECONDS + $2))

# rootDse URL: the directory answers there and calls itself synchronized.
rootDse() { ldapsearch -x -LLL -H "$1" -b '' -s base -o nettimeout=2 -l 2 isSynchronized | grep -q TRUE; }

# inDns SERVICE: the server's own DNS has a SRV record of the service that names it.
inDns() { dig +short +time=1 +tries=1 "@$address" "$1.$domain" SRV | grep -qi " $name\.$"; }

answers() {
  local port
  for port in 389 3268 88 445 464 53; do
    { : >"/dev/tcp/$address/$port"; } 2>/dev/null || return 1
  done
  rootDse "ldap://$address" && rootDse "ldap://$address:3268" && inDns _gc._tcp && inDns _kerberos._udp &&
    [[ -e /run/chronyd.pid ]] && kill -0 "$(</run/chronyd.pid)"
}

until answers; do
  ((SECONDS < deadline)) || exit 1
  sleep 0.05
done
