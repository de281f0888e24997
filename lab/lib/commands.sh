# The commands of the lab, one function each.

# healthy: every host is up and the domain controller answers.
healthy() {
  local node
  [[ -e $state/complete ]] || return 1
  for node in .switch dc1 host1 guest1; do
    nodePid "$node" >/dev/null || return 1
  done
  dcReady dc1 1
}

# endAll: ends every process of this lab, also those that no file tells of.
endAll() {
  local pids
  mapfile -t pids < <(ownProcesses)
  ((${#pids[@]} == 0)) || endProcesses "${pids[@]}"
}

cmd-up() {
  local start=$EPOCHREALTIME origin
  (($# == 0)) || die "up takes no argument"
  needHost
  takeLock
  if healthy; then
    agentUp
    say "is up already"
    return 0
  fi
  [[ ! -e $state/nodes ]] || say "is not whole; replacing it"
  endAll
  rm -rf "${state:?}"/*
  trap 'endAll' EXIT
  switchUp
  nodeUp dc1 "$dcAddress"
  nodeUp host1 "$hostAddress"
  fillNodes "$(snapshotPath)"
  nodeUp guest1 "$guestAddress"
  scriptsInstall host1
  scriptsInstall guest1
  dcStarted dc1
  agentUp
  : >"$state/complete"
  trap - EXIT
  say "up from $origin in $(elapsed "$start") s"
}

# fillNodes PATH: restores the snapshot, or makes it when it is missing, and starts the services; sets `origin`. Of
# several labs that find no snapshot one makes it and the others wait.
fillNodes() {
  origin='its snapshot'
  exec 8<"$labRoot"
  flock 8
  if [[ ! -d $1 ]]; then
    origin=nothing
    say "no snapshot yet; making the forest, which takes about 10 s"
    snapshotMake "$1"
    snapshotPrune "$1"
  fi
  exec 8<&-
  [[ $origin == nothing ]] || snapshotRestore "$1"
  dcStart dc1
}

cmd-down() {
  (($# == 0)) || die "down takes no argument"
  ((EUID == 0)) || die "needs root"
  takeLock
  local status=0
  if nodePid host1 >/dev/null; then (daemonStop) || status=$?; fi
  endAll
  rm -rf "$state"
  say "down"
  return "$status"
}

cmd-status() {
  local node pid
  [[ -e $state/complete ]] || { say "down"; return 1; }
  for node in "$state"/nodes/*; do
    node=${node##*/}
    if pid=$(nodePid "$node"); then
      printf '%-12s up    pid %-8s %s\n' "$node" "$pid" "$(inNode "$node" hostname -I 2>/dev/null)"
    else
      printf '%-12s dead\n' "$node"
    fi
  done
  if healthy; then say "up, all services answer"; else say "not whole; 'lab up' replaces it"; return 1; fi
}

cmd-pid() {
  (($# == 1)) || die "usage: lab pid HOST"
  needNode "$1"
}

cmd-node() {
  (($# == 2)) || die "usage: lab node NAME ADDRESS"
  takeLock
  nodeUp "$@"
}

cmd-node-down() {
  (($# == 1)) || die "usage: lab node-down NAME"
  case $1 in dc1 | host1 | guest1) die "'$1' belongs to the forest; 'lab down' ends it" ;; esac
  takeLock
  nodeDown "$1"
}

cmd-dc() {
  local name=${2:-dc1}
  [[ $# -le 2 && $name == dc* ]] || die "usage: lab dc stop|start [dc1|dc2]"
  takeLock
  case ${1:-} in
    start) dcStart "$name"; dcStarted "$name" ;;
    stop) dcStop "$name" ;;
    *) die "usage: lab dc stop|start [dc1|dc2]" ;;
  esac
}

cmd-dns() {
  [[ $# == 4 && $1 =~ ^(add|remove)$ ]] || die 'usage: lab dns add|remove NAME TYPE DATA'
  dcDatabase dns.py <<<"$*"
}

cmd-scenario() {
  local file=$ROOT/lab/scenario/${1:-}.sh
  if (($# == 0)); then
    for file in "$ROOT"/lab/scenario/*.sh; do sed -n '1s/^# //p' "$file"; done
    return 0
  fi
  [[ $1 != */* && -e $file ]] || die "there is no scenario '$1'; 'lab scenario' lists them"
  shift
  takeLock
  # shellcheck source=/dev/null
  . "$file"
  scenario "$@"
}
