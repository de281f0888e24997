# fault PORT/tcp|udp FAULT: spoils what dc1 answers there to other hosts; FAULT is refused, dropped, or one of lab/data/fault_proxy.py; `fault none` ends it
#
# A proxy on dc1 takes the packets that come from outside and asks the real service by the loopback.

# faultEnd: takes back what an earlier call made.
faultEnd() {
  local tries
  inNode dc1 nft delete table inet fault 2>/dev/null || true
  inNode dc1 nft delete table ip fault 2>/dev/null || true
  inNode dc1 pkill -f fault_proxy.py || true
  # shellcheck disable=SC2034 # tries only counts
  for tries in {1..50}; do inNode dc1 pgrep -f fault_proxy.py >/dev/null || return 0; sleep 0.02; done
}

scenario() {
  local port=${1%/*} transport=${1#*/} fault=${2:-} match tries
  faultEnd
  rm -f "$state/nodes/dc1/fault.log"
  [[ ${1:-} != none ]] || return 0
  [[ $port =~ ^[0-9]+$ && $transport =~ ^(tcp|udp)$ && -n $fault ]] || die "usage: lab scenario fault PORT/tcp|udp FAULT, or none"
  match="iifname != lo $transport dport $port"
  case $fault in
    refused)
      inNode dc1 nft -f - <<<"table inet fault { chain in { type filter hook input priority 0; $match reject$([[ $transport == udp ]] || echo " with tcp reset"); }; }"
      ;;
    dropped) inNode dc1 nft -f - <<<"table inet fault { chain in { type filter hook input priority 0; $match drop; }; }" ;;
    *)
      spawnInNode dc1 "$state/nodes/dc1/fault.log" /usr/bin/python3 "$ROOT/lab/data/fault_proxy.py" $((20000 + port)) "$port" "$transport" "$fault"
      for tries in {1..100}; do ! grep -qs ready "$state/nodes/dc1/fault.log" || break; sleep 0.02; done
      inNode dc1 nft -f - <<<"table ip fault { chain in { type nat hook prerouting priority -100; $match redirect to :$((20000 + port)); }; }"
      ;;
  esac
  say "$1 $fault"
}
