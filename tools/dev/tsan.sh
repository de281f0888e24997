# ./dev tsan: builds with the thread sanitizer what has threads and runs its unit tests; a race fails its test.
. "$ROOT/tools/dev/build.sh"

PROGRAMS=(velkd_test cloud_test facts_test tolk_base_test tolk_net_test)

run() {
  (($# == 0)) || die "tsan takes no argument"
  verb setup --quiet build
  buildPreset tsan "${PROGRAMS[@]}"
  timed "test tsan" ctest --test-dir "$ROOT/build/tsan" --output-on-failure --parallel "$(nproc)" \
    --tests-regex "^($(IFS='|'; echo "${PROGRAMS[*]}"))$"
}
