# Nodes: the machines of the lab. Each is a set of namespaces around its own PID 1, on a link to the lab's switch.

# nodePid NODE: prints the id (as this machine counts) of the node's PID 1; false when it does not run.
nodePid() {
  local pid
  { read -r pid <"$state/nodes/$1/pid"; } 2>/dev/null || return 1
  hasMark "$pid" "JOINSCOPE_LAB=$state" && hasMark "$pid" "JOINSCOPE_NODE=$1" || return 1
  echo "$pid"
}

# needNode NODE: as nodePid, but ends with a message when the node does not run.
needNode() { nodePid "$1" || die "no node '$1' is up; 'lab status' lists them"; }

# inNode NODE COMMAND...: runs the lab's own command there, as root and with the environment of the node.
inNode() {
  local pid
  pid=$(needNode "$1") || return
  nsenter --target "$pid" --net --uts --mount --ipc --pid --wdns=/ -- env -i "${nodeEnvironment[@]}" HOME=/root "${@:2}" 9<&-
}

# spawnInNode NODE LOG COMMAND...: the same in the background, with its output in the file LOG. The command becomes a
# child of the node's PID 1: with a parent outside, which a test may happen to stop, the node could not end.
spawnInNode() {
  # shellcheck disable=SC2016  # for the shell in the node
  inNode "$1" bash -c 'setsid "$@" </dev/null &>"$0" &' "${@:2}" 8<&-
}

# switchUp: the switch, a network namespace that holds nothing but a bridge.
switchUp() {
  local pid tries own
  own=$(readlink /proc/self/ns/net)
  setsid env -i "${nodeEnvironment[@]}" JOINSCOPE_NODE=.switch \
    unshare --net sleep infinity </dev/null &>/dev/null 8<&- 9<&- &
  pid=$!
  disown
  for ((tries = 0; tries < 500; tries++)); do
    hasMark "$pid" JOINSCOPE_NODE=.switch && [[ $(readlink "/proc/$pid/ns/net") != "$own" ]] && break
    sleep 0.01
  done
  mkdir -p "$state/nodes/.switch"
  echo "$pid" >"$state/nodes/.switch/pid"
  onSwitch -batch - <<<$'link add br0 type bridge\nlink set lo up\nlink set br0 up'
}

# onSwitch ARGUMENT...: the ip command in the switch's network namespace.
onSwitch() {
  local pid
  pid=$(needNode .switch) || return
  nsenter --target "$pid" --net -- ip "$@" 9<&-
}

# nodeUp NODE ADDRESS: a new host that is in no domain; it asks the domain controller for names.
nodeUp() {
  local name=$1 address=$2 dir=$state/nodes/$1 pid line
  [[ $name =~ ^[a-z][a-z0-9-]{0,11}$ ]] || die "'$name' is no node name: up to 12 of a-z, 0-9 and -"
  [[ $address =~ ^10\.99\.0\.([1-9]|[1-9][0-9]|1[0-9][0-9]|2[0-4][0-9]|25[0-4])$ ]] ||
    die "'$address' is not an address of the lab (10.99.0.1 to 10.99.0.254)"
  ! nodePid "$name" >/dev/null || die "a node '$name' is up already"
  needNode .switch >/dev/null
  mkdir -p "$dir/root"
  exec {pipe}< <(exec setsid env -i "${nodeEnvironment[@]}" "JOINSCOPE_NODE=$name" unshare --net --uts --mount --ipc --pid \
    --fork --kill-child --propagation private bash "$ROOT/lab/lib/node_init.sh" \
    "$shared" "$dir/root" "$name" "$address" "$dcAddress" "$domain" </dev/null 2>"$dir/log" 8<&- 9<&-)
  if ! read -r -t 20 line pid <&"$pipe" || [[ $line != ready ]]; then
    exec {pipe}<&-
    die "node '$name' did not start: $(tail -n 3 "$dir/log")"
  fi
  exec {pipe}<&-
  echo "$pid" >"$dir/pid"
  nodeLink "$name" "$address" "$pid"
}

# nodeLink NODE ADDRESS PID: the cable. Addresses of network cards follow from the IP address: a node that is
# restarted would otherwise be hidden behind the neighbours' stale ARP entries.
nodeLink() {
  local card bytes
  IFS=. read -r -a bytes <<<"$2"
  printf -v card '02:00:%02x:%02x:%02x:%02x' "${bytes[@]}"
  onSwitch link del "v$1" 2>/dev/null || true
  onSwitch -batch - <<<"link add v$1 type veth peer name eth0 address $card netns $3
link set v$1 master br0 up"
  inNode "$1" ip -batch - <<<"link set lo up
addr add $2/24 brd + dev eth0
link set eth0 up"
}

# nodeDown NODE: ends the node and everything in it.
nodeDown() {
  local pid
  if pid=$(nodePid "$1"); then endProcesses "$pid"; fi
  onSwitch link del "v$1" 2>/dev/null || true
  rm -rf "$state/nodes/$1"
}
