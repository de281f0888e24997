# ./dev lab COMMAND...: the disposable forest; lab/lab does the work.
run() {
  [[ " $* " != *" up "* ]] || verb setup --quiet
  exec "$ROOT/lab/lab" "$@"
}
