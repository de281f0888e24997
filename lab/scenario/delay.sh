# delay MS: every round trip to the domain controller takes MS milliseconds more; 0 takes it back
#
# By the kernel's netem where it has it. Otherwise the controller moves to a bridge of its own, and the two bridges
# are joined by a wire in user space (wirefilter) that holds each packet back.

# onSwitchNet COMMAND...: runs it in the switch's network namespace, marked as the lab's own.
onSwitchNet() { nsenter --target "$(needNode .switch)" --net -- env -i "${nodeEnvironment[@]}" "$@" 9<&-; }

# plainWire: takes back what an earlier call made.
plainWire() {
  local pid
  onSwitchNet tc qdisc del dev vdc1 root 2>/dev/null || true
  for pid in "$state"/wire/*.pid; do
    if [[ -e $pid ]]; then endProcesses "$(<"$pid")"; fi
  done
  rm -rf "$state/wire"
  onSwitch link set vdc1 master br0
  onSwitch link del br1 2>/dev/null || true
}

# wireReady SIDE: waits for what vde_switch makes after it has gone to the background.
wireReady() {
  local tries
  for ((tries = 0; tries < 500; tries++)); do
    [[ -e $state/wire/switch$1.pid && -e $state/wire/$1/ctl ]] && onSwitch link show "tap$1" &>/dev/null && return 0
    sleep 0.01
  done
  return 1
}

# longWire MS: br0 - tap0 - switch - wire - switch - tap1 - br1 - dc1.
longWire() {
  local side oneWay=$(($1 / 2))
  mkdir -p "$state/wire"
  onSwitch link add br1 type bridge
  onSwitch link set br1 up
  for side in 0 1; do
    onSwitchNet vde_switch -sock "$state/wire/$side" -tap "tap$side" -daemon -pidfile "$state/wire/switch$side.pid" </dev/null
    wireReady "$side" || die "vde_switch did not make its port"
    onSwitch link set "tap$side" master "br$side" up
  done
  # Relative, as a colon in the path would end it.
  onSwitchNet env -C "$state/wire" wirefilter -v 0:1 -d "LR$oneWay" -d "RL$(($1 - oneWay))" -c 4000000 \
    --daemon --pidfile "$state/wire/wire.pid" </dev/null
  onSwitch link set vdc1 master br1
}

scenario() {
  local delay=${1:?delay needs milliseconds}
  [[ $delay =~ ^[0-9]{1,3}$ ]] || die "delay takes 0 to 999 milliseconds"
  plainWire
  if ((delay == 0)); then
    say "no delay"
  elif onSwitchNet tc qdisc replace dev vdc1 root netem delay "${delay}ms" 2>/dev/null; then
    say "round trips to dc1 take $delay ms more (netem)"
  else
    [[ -x /usr/bin/wirefilter && -x /usr/bin/vde_switch ]] ||
      die "this kernel has no netem, and vde-wirefilter is missing: run ./dev setup"
    longWire "$delay"
    say "round trips to dc1 take $delay ms more (wirefilter)"
  fi
}
