# web on | off: proxy1 (web proxies with Negotiate, Basic and no login), web1 (HTTPS with Negotiate) and cloud1 (for the tests' own server), their accounts, names and certificates
#
# Ports and accounts are in docs/lab.md. `on` where it is on makes all of it anew.

webRecords() {
  local row
  for row in "proxy1 A 10.99.0.60" "web1 A 10.99.0.61" "cloud1 A 10.99.0.62" "pod1 A 10.99.0.62" \
    "webproxy CNAME proxy1.$domain"; do
    echo "$1 ${row/ /.$domain }"
  done | dcDatabase dns.py
}

webAccounts() {
  local log=$state/nodes/dc1/web.log
  inNode dc1 /usr/bin/python3 "$ROOT/lab/scenario/web/accounts.py" "$@" &>"$log" ||
    { tail -n 5 "$log" >&2; die "cannot change the accounts of the web scenario"; }
}

# webOff: the directory first, so that a broken run can be taken back.
webOff() {
  local name
  webAccounts off
  webRecords remove
  for name in proxy1 web1 cloud1; do
    if nodePid "$name" >/dev/null; then nodeDown "$name"; fi
  done
  inNode host1 rm -rf /etc/ssl/lab
  rm -rf "$state/web"
}

# webStart NODE PROGRAM PORT...: runs a script of this scenario there, then waits until all ports are open.
webStart() {
  local node=$1 log=$state/nodes/$1/web.log port tries
  inNode "$node" bash "$ROOT/lab/scenario/web/$2" "$state/web" "$ROOT/lab/scenario/web" &>"$log" ||
    { tail -n 5 "$log" >&2; die "$node could not start its services; its log is $log"; }
  for port in "${@:3}"; do
    for ((tries = 0; tries < 500; tries++)); do
      ! inNode "$node" bash -c "</dev/tcp/127.0.0.1/$port" 2>/dev/null || continue 2
      sleep 0.02
    done
    die "$node does not listen at port $port; its log is $log"
  done
}

webOn() {
  local node tool
  for tool in squid:/usr/sbin/squid apache2:/usr/sbin/apache2 openssl:/usr/bin/openssl faketime:/usr/bin/faketime \
    libapache2-mod-auth-gssapi:/usr/lib/apache2/modules/mod_auth_gssapi.so; do
    [[ -e ${tool#*:} ]] || die "the package ${tool%%:*} is missing: run ./dev setup"
  done
  webOff
  mkdir -m 700 "$state/web"
  nodeUp proxy1 10.99.0.60
  nodeUp web1 10.99.0.61
  nodeUp cloud1 10.99.0.62
  bash "$ROOT/lab/scenario/web/certificates.sh" "$state/web" "$domain" &>"$state/web/log" ||
    { tail -n 5 "$state/web/log" >&2; die "cannot make the certificates"; }
  webAccounts on "$state/web"
  webRecords add
  for node in cloud1 host1; do inNode "$node" cp -rT "$state/web/ssl" /etc/ssl/lab; done
  webStart proxy1 proxy.sh 3128 3129 3130
  webStart web1 server.sh 8080 8443 8444 8445 8446
}

scenario() {
  case $#:${1:-} in
    1:on) webOn; say "proxy1, web1 and cloud1 are up" ;;
    1:off) webOff; say "proxy1, web1 and cloud1 are gone" ;;
    *) die "usage: lab scenario web on|off" ;;
  esac
}
