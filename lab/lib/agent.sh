# The agent on host1: its join settings and its daemon, both by the velkd that is built. They are no part of the
# snapshot, which must not depend on a build.

# velkdProgram: the velkd to use: $LAB_VELKD when that is set, else the first that is built, or installed for an installed
# lab; false when there is none.
velkdProgram() {
  local program candidates=("$ROOT"/build/{release,dev,asan}/bin/velkd)
  [[ $ROOT != /usr/share/* ]] || candidates=(/usr/sbin/velkd)
  [[ -z ${LAB_VELKD:-} ]] || candidates=("$LAB_VELKD")
  for program in "${candidates[@]}"; do
    [[ ! -x $program ]] || { readlink -f "$program"; return 0; }
  done
  return 1
}

# scriptsInstall NODE: the agent's scripts, the program that they use and the version file of the build, where the
# package puts them; an installed lab has them from there.
scriptsInstall() {
  local program version
  [[ -d $ROOT/share ]] || return 0
  inNode "$1" mkdir -p /usr/share/orvald/{bin,etc,kerberos/bin} /usr/libexec/orvald
  inNode "$1" cp -p "$ROOT"/share/. -r /usr/share/orvald/bin
  inNode "$1" ln -sf /usr/bin/klist /usr/share/orvald/kerberos/bin/klist
  program=$(velkdProgram) || return 0
  inNode "$1" ln -sf "${program%/*}/joinscope_bundle" /usr/libexec/orvald/
  version=${program%/bin/velkd}/orvald_suite_version
  [[ ! -f $version ]] || inNode "$1" cp "$version" /usr/share/orvald/etc
}

# agentUp: adopts the join of host1 and starts the daemon there, as far as that is not done yet.
agentUp() {
  local program log=$state/nodes/host1/adopt.log
  if ! program=$(velkdProgram); then
    [[ -z ${LAB_VELKD:-} ]] || die "LAB_VELKD names $LAB_VELKD, which is no program"
    say "no velkd is built: host1 has its keytab but no agent; run './dev build' and 'lab up' again"
    return 0
  fi
  inNode host1 test -e /var/orvald/kset.domain || inNode host1 env "${sanitizerOptions[@]}" "$program" adopt &>"$log" ||
    { tail -n 5 "$log" >&2; die "velkd could not adopt the join of host1; its log is $log"; }
  daemonStart
}

# What sanitizer builds need: velkd forbids ptrace, which the search for leaks works with.
sanitizerOptions=(ASAN_OPTIONS=detect_leaks=0:handle_abort=1 UBSAN_OPTIONS=print_stacktrace=1)

# What the daemon says on its standard streams, and how it ended: "running", then its exit status.
daemonLog=$state/nodes/host1/velkd.log
daemonStatus=$state/nodes/host1/velkd.status

# daemonPid: the id, as host1 counts, of the velkd that runs there; false when none does.
daemonPid() { inNode host1 pgrep --exact velkd; }

# daemonStart: starts velkd on host1 and waits until it listens.
daemonStart() {
  local program tries
  ! daemonPid >/dev/null || return 0
  daemonEnded
  program=$(velkdProgram) || die "no velkd is built; run './dev build'"
  # A socket that was left behind must not count as listening.
  inNode host1 rm -f /var/orvald/daemon/velkd.sock
  echo running >"$daemonStatus"
  # shellcheck disable=SC2016  # for the shell in the node
  spawnInNode host1 "$daemonLog" bash -c '"$@"; echo $? >"$0"' "$daemonStatus" env "${sanitizerOptions[@]}" "$program"
  for ((tries = 0; tries < 500; tries++)); do
    ! inNode host1 test -S /var/orvald/daemon/velkd.sock || return 0
    [[ $(<"$daemonStatus") == running ]] || break
    sleep 0.02
  done
  die "velkd on host1 does not listen: $(tail -n 3 "$daemonLog")"
}

# daemonStop: ends it and returns when it has ended.
daemonStop() {
  local pid tries
  if pid=$(daemonPid); then
    inNode host1 kill "$pid"
    for ((tries = 0; tries < 1000; tries++)); do
      daemonPid >/dev/null || break
      sleep 0.02
    done
    ((tries < 1000)) || die "velkd on host1 does not end"
  fi
  daemonEnded
}

# daemonEnded: fails with the last words of the daemon that has run when it did not end as it should. SIGKILL (137) is
# somebody's will, everything else the daemon's own.
daemonEnded() {
  local status tries
  [[ -e $daemonStatus ]] || return 0
  for ((tries = 0; tries < 100; tries++)); do
    status=$(<"$daemonStatus")
    [[ -z $status || $status == running ]] || break
    sleep 0.02
  done
  rm -f "$daemonStatus"
  [[ $status == 0 || $status == 137 ]] || die "velkd on host1 ended with status $status: $(tail -n 60 "$daemonLog")"
}

cmd-daemon() {
  takeLock
  case $#:${1:-} in
    1:start) daemonStart ;;
    1:stop) daemonStop ;;
    *) die "usage: lab daemon start|stop" ;;
  esac
}
