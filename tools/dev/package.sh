# ./dev package: makes the Debian package from the release build, in build/release.
. "$ROOT/tools/dev/build.sh"

run() {
  (($# == 0)) || die "package takes no argument"
  verb setup --quiet
  buildPreset release joinscope joinscope_bundle velkd
  rm -f "$ROOT"/build/release/joinscope_*.deb
  timed "package" bash -c "cd '$ROOT/build/release' && cpack"
}
