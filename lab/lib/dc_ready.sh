# Runs on the domain controller: waits until each of its services answers. Arguments: address, domain, seconds.
address=$1 domain=$2
deadline=$((SECONDS + $3))

# rootDse URL: the directory answers there and calls itself synchronized.
rootDse() { ldapsearch -x -LLL -H "$1" -b '' -s base -o nettimeout=2 -l 2 isSynchronized | grep -q TRUE; }

answers() {
  local port
  for port in 389 3268 88 445 464 53; do
    { : >"/dev/tcp/$address/$port"; } 2>/dev/null || return 1
  done
  rootDse "ldap://$address" && rootDse "ldap://$address:3268" &&
    [[ -n $(dig +short +time=1 +tries=1 "@$address" "_gc._tcp.$domain" SRV) ]] &&
    [[ -n $(dig +short +time=1 +tries=1 "@$address" "_kerberos._udp.$domain" SRV) ]] &&
    [[ -e /run/chronyd.pid ]] && kill -0 "$(</run/chronyd.pid)"
}

until answers; do
  ((SECONDS < deadline)) || exit 1
  sleep 0.05
done
