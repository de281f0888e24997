# ./dev fuzz [SECONDS]: searches each parser of foreign bytes for so long (default 20) for an input that breaks it. What
# is found lies in build/fuzz/fuzz/found, and is found again by the next search.
. "$ROOT/tools/dev/build.sh"

# search SECONDS TARGET: begins with what earlier searches and the tree have.
search() {
  local found=$ROOT/build/fuzz/fuzz/found/$2
  "$ROOT/build/fuzz/bin/$2" -max_total_time="$1" -artifact_prefix="$found/" -print_final_stats=1 "$found" \
    "$ROOT/fuzz/corpus/$2" >"$found.log" 2>&1 || {
    tail -n 40 "$found.log" >&2
    return 1
  }
  say "$2: $(sed -n 's/^stat::number_of_executed_units: *//p' "$found.log") inputs"
}

run() {
  local seconds=${1:-20} targets target failed=()
  [[ $seconds =~ ^[1-9][0-9]*$ ]] || die "fuzz takes the number of seconds for each target"
  verb setup --quiet build
  mapfile -t targets < <(sed -n 's/^joinscope_fuzzer(\([a-z_]*\) .*/\1/p' "$ROOT/fuzz/CMakeLists.txt")
  buildPreset fuzz "${targets[@]}"
  for target in "${targets[@]}"; do
    search "$seconds" "$target" || failed+=("$target")
  done
  ((${#failed[@]} == 0)) || die "fuzz: failed: ${failed[*]}"
}
