# ./dev test [NAME...]: sets up, builds and runs the tests whose names match; without a name, all of them.
# All run on the asan build; those with the label `release` once more on that build, which is what gets installed.
. "$ROOT/tools/dev/build.sh"

# chosen PRESET LABELS...: how many tests the names choose there.
chosen() {
  (cd "$ROOT/build/$1" && ctest --show-only "${@:2}" "${names[@]}") | sed -n 's/^Total Tests: //p'
}

# releasePrograms: the targets behind the tests for the release build; a test has the name of its program.
releasePrograms() {
  (cd "$ROOT/build/release" && ctest --show-only --label-regex 'release' "${names[@]}") | sed -n 's/^ *Test *#.*: \(.*_test\)$/\1/p'
}

# runTests PRESET LABELS...: runs them; ctest prints the closing line.
runTests() {
  local preset=$1
  shift
  [[ $(chosen "$preset" "$@") != 0 ]] || return 0
  found=yes
  timed "test $preset" ctest --test-dir "$ROOT/build/$preset" --output-on-failure --timeout 600 \
    --parallel "$(nproc)" "$@" "${names[@]}"
}

run() {
  local names=() programs=() found='' status=0 obstacle
  (($# == 0)) || names=(--tests-regex "$(IFS='|'; echo "$*")")
  verb setup --quiet
  obstacle=$(labObstacle)
  if [[ -n $obstacle ]]; then
    [[ ${CI:-} != true ]] || die "test: the end-to-end tests cannot run here: $obstacle"
    say "test: the end-to-end tests are skipped: $obstacle"
  fi
  buildPreset asan
  if [[ -n $obstacle ]]; then
    runTests asan --label-exclude 'e2e' || status=$?
  else
    runTests asan || status=$?
    configurePreset release
    mapfile -t programs < <(releasePrograms)
    ((${#programs[@]} == 0)) || buildPreset release joinscope "${programs[@]}"
    runTests release --label-regex 'release' || status=$?
  fi
  [[ -n $found ]] || die "test: no test matches ${names[1]:-}"
  return "$status"
}
