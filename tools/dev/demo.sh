# ./dev demo: from a fresh machine to a live domain: set-up, build, forest, joinscope and joinscope --diag on host1.
. "$ROOT/tools/dev/build.sh"

run() {
  local obstacle program=$ROOT/build/release/bin/joinscope
  verb setup --quiet
  buildPreset release joinscope joinscope_bundle velkd
  obstacle=$(labObstacle)
  if [[ -n $obstacle ]]; then
    say "demo: no forest on this machine: $obstacle; running the command on this host instead"
    timed "joinscope --diag on this host" "$program" --diag
    return
  fi
  timed "bring up the forest" "$ROOT/lab/lab" up
  timed "joinscope on host1.lab.test" "$ROOT/lab/lab" exec host1 "$program"
  timed "joinscope --diag on host1.lab.test" "$ROOT/lab/lab" exec host1 "$program" --diag
  say "the forest stays up: './dev lab exec host1 CMD...' runs more there, './dev lab down' ends it"
}
