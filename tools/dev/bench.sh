# ./dev bench [ARGUMENT...]: builds the release preset and measures.
. "$ROOT/tools/dev/build.sh"

run() {
  verb setup --quiet
  buildPreset release
  [[ -x $ROOT/bench/run ]] || die "bench: bench/run is missing"
  timed "bench" "$ROOT/bench/run" "$@"
}
