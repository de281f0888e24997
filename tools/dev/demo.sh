# ./dev demo: from a fresh machine to a live domain: set-up, build, forest, joinscope, joinscope --diag and joincheck on
# host1, which is broken and repaired.
. "$ROOT/tools/dev/build.sh"

# checked WHAT: joincheck on host1, whose status says what it found.
checked() {
  local status=0
  say "joincheck $1 ..."
  "$ROOT/lab/lab" exec host1 "$ROOT/build/release/bin/joincheck" || status=$?
  say "joincheck $1: status $status"
}

# brokenAndRepaired NAME: a fault, what joincheck says, the remedy that it names, and what it says then.
brokenAndRepaired() {
  "$ROOT/lab/lab" break "$1"
  checked "with that"
  say "the remedy:"
  "$ROOT/lab/lab" remedy "$1"
  checked "after the remedy"
  "$ROOT/lab/lab" repair "$1"
}

run() {
  local obstacle program=$ROOT/build/release/bin/joinscope
  verb setup --quiet
  buildPreset release joincheck joinscope joinscope_bundle velkd
  obstacle=$(labObstacle)
  if [[ -n $obstacle ]]; then
    say "demo: no forest on this machine: $obstacle; running the command on this host instead"
    timed "joinscope --diag on this host" "$program" --diag
    return
  fi
  timed "bring up the forest" "$ROOT/lab/lab" up
  timed "joinscope on host1.lab.test" "$ROOT/lab/lab" exec host1 "$program"
  timed "joinscope --diag on host1.lab.test" "$ROOT/lab/lab" exec host1 "$program" --diag
  checked "on the healthy host"
  brokenAndRepaired keytab-behind
  brokenAndRepaired first-nameserver-dead
  say "the forest stays up: './dev lab exec host1 CMD...' runs more there, './dev lab down' ends it"
}
