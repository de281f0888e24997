# The part of bench/run that puts a dead server into the forest: what it costs beside the healthy run, and whether the
# report is whole.

# Beside "healthy": what one dead server adds is its limit, once.
deadNameServer() {
  heading "first of two name servers dead (timeout:2 attempts:1), median of 3"
  "${lab[@]}" exec host1 sed -i '1i nameserver 10.99.0.250' /etc/resolv.conf
  measure 3 'joinscope --test' root "$bin/joinscope" --test
  measure 3 'joinscope --diag' root "$bin/joinscope" --diag
  measure 3 'adcli info lab.test' root adcli info lab.test
  "${lab[@]}" exec host1 sed -i 1d /etc/resolv.conf
}

stoppedDaemon() {
  heading "velkd stopped by a signal (velkd.rpc.timeout 10 s), one run"
  "${lab[@]}" exec host1 pkill -STOP -x velkd
  measure 1 'joinscope --all' root "$bin/joinscope" --all
  measure 1 'joinscope --diag' root "$bin/joinscope" --diag
  "${lab[@]}" exec host1 pkill -CONT -x velkd
}

# A filter on dc1 between the two: what a datagram that is lost costs beside the healthy run of the same minute.
filteredPings() {
  heading "UDP 389 dropped, median of 3: one limit (5 s) more"
  measure 3 'joinscope --diag, healthy' root "$bin/joinscope" --diag
  "${lab[@]}" exec dc1 nft 'add table inet bench; add chain inet bench in { type filter hook input priority 0; }; add rule inet bench in udp dport 389 drop'
  measure 3 'joinscope --diag' root "$bin/joinscope" --diag
  "${lab[@]}" exec dc1 nft delete table inet bench
}

# The second is the hard limit of many services: parts of so many servers as it allows, a limit each.
manyDeadControllers() {
  heading "one live and 300 silent controllers"
  "${lab[@]}" scenario dead-controllers 300
  measure 1 'joinscope --test' root "$bin/joinscope" --test
  measure 1 'joinscope --diag' root "$bin/joinscope" --diag
  measure 1 'joinscope --test, 1,024 open files' root bash -c 'ulimit -n 1024; "$@"' - "$bin/joinscope" --test
  "${lab[@]}" scenario dead-controllers 0
}

deadControllers() {
  heading "one live and nine silent controllers, median of 3"
  "${lab[@]}" scenario dead-controllers 9
  measure 3 'joinscope --test' root "$bin/joinscope" --test
  measure 3 'joinscope --diag' root "$bin/joinscope" --diag
  measure 1 'kinit -k HOST1$ (at most 60 s)' root timeout 60 kinit -k 'HOST1$'
  measure 1 'adcli info lab.test (at most 60 s)' root timeout 60 adcli info lab.test
}

# Whole reports of 20 runs: the counts of every domain, the sites of the forest.
filteredController() {
  local whole
  heading "TCP 389 dropped on one of two controllers, 20 runs each"
  "${lab[@]}" scenario second-dc
  "${lab[@]}" exec dc1 nft 'add table inet bench; add chain inet bench in { type filter hook input priority 0; }; add rule inet bench in tcp dport 389 drop'
  # shellcheck disable=SC2016 # for the shell on the host
  whole='n=0; for i in $(seq 20); do "$1" "$2" | grep -q "$3" && n=$((n + 1)); done; echo $n'
  printf '%-55s %10d\n' \
    'joinscope --joinedcount, whole' "$("${lab[@]}" exec host1 bash -c "$whole" - "$bin/joinscope" --joinedcount '^Total Joins .* = 12$')" \
    'joinscope --diag, whole' "$("${lab[@]}" exec host1 bash -c "$whole" - "$bin/joinscope" --diag '^  Site: ')"
  "${lab[@]}" exec dc1 nft delete table inet bench
}
