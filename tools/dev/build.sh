# ./dev build [PRESET]: configures and builds a preset of CMakePresets.json into build/PRESET; programs are in bin/.

# buildPreset PRESET [TARGET...]: builds it with all processors. ccache finds what another checkout has compiled.
buildPreset() {
  local preset=$1 targets=()
  shift
  (($# == 0)) || targets=(--target "$@")
  export CCACHE_BASEDIR=$ROOT CCACHE_NOHASHDIR=true
  configurePreset "$preset"
  cd "$ROOT" || die "the project folder is gone"
  timed "build $preset" cmake --build --preset "$preset" --parallel "$(nproc)" "${targets[@]}" -- --quiet
}

# configurePreset PRESET: writes build/PRESET with its build.ninja and compile_commands.json.
configurePreset() {
  local log
  log=$(mktemp)
  (cd "$ROOT" && cmake --preset "$1") >"$log" 2>&1 || {
    cat "$log" >&2
    rm -f "$log"
    die "configuring '$1' failed; the presets are dev, clang, release, asan, tsan and fuzz"
  }
  rm -f "$log"
}

run() {
  (($# <= 1)) || die "build takes one preset: dev, clang, release, asan, tsan or fuzz"
  verb setup --quiet
  buildPreset "${1:-dev}"
  say "programs are in build/${1:-dev}/bin"
}
