# What all verbs of ./dev share: messages, times, the question whether this machine can run the lab.

# say TEXT: a line about what is being done, on standard error, so that standard output stays the tool's own.
say() { printf 'dev: %s\n' "$*" >&2; }

# die TEXT: names what is wrong and the remedy, and ends with 6.
die() {
  say "$*"
  exit 6
}

# timed TEXT COMMAND...: runs the command and says what it was and how long it took.
timed() {
  local what=$1 start=$EPOCHREALTIME status=0
  shift
  say "$what ..."
  "$@" || status=$?
  local elapsed=$(((${EPOCHREALTIME/./} - ${start/./}) / 100000))
  local ending='done'
  ((status == 0)) || ending="failed (status $status)"
  say "$what: $ending in $((elapsed / 10)).$((elapsed % 10)) s"
  return "$status"
}

# labObstacle: prints why the lab cannot run on this machine, nothing when it can.
labObstacle() {
  if ((EUID != 0)); then
    echo "it needs root"
  elif ! unshare --mount --net --uts --ipc --pid --fork true 2>/dev/null; then
    echo "this machine forbids new namespaces (a container needs --privileged)"
  elif [[ ! -x /usr/sbin/samba ]]; then
    echo "samba is missing (run ./dev setup)"
  fi
}

# mirror: where this machine takes its own Debian packages from.
# shellcheck disable=SC2016 # apt's own placeholder
mirror() {
  apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | sed -n 1p
}

# verb NAME ARGUMENT...: another verb, in a process of its own.
verb() { "$ROOT/dev" "$@"; }
