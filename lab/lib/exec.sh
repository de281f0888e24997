# lab exec: enters the namespaces of a node and hands over to login.sh there. Sourced with the arguments after
# `exec`; never returns. Starts as few processes as it can.

fail() {
  printf 'lab %s: %s\n' "$labName" "$1" >&2
  exit 125
}

user=root
while [[ ${1:-} == -* ]]; do
  case $1 in
    --user) user=${2:?--user needs a name}; shift ;;
    --user=*) user=${1#*=} ;;
    --) shift; break ;;
    *) fail "exec: unknown option '$1'" ;;
  esac
  shift
done
(($# >= 2)) || fail "exec needs a host and a command: lab exec [--user USER] HOST CMD [ARGUMENT...]"
host=$1
shift
((EUID == 0)) || fail "exec needs root"

# The process id in the file counts only if that process still carries the marks of this lab and host.
marks=0
{ read -r pid <"$labRoot/$labName/nodes/$host/pid"; } 2>/dev/null || fail "no host '$host' is up; run: lab up"
while ((marks < 2)) && IFS= read -r -d '' entry; do
  case $entry in
    "JOINSCOPE_LAB=$labRoot/$labName" | "JOINSCOPE_NODE=$host") ((marks += 1)) ;;
  esac
done 2>/dev/null <"/proc/$pid/environ" || true
((marks == 2)) || fail "host '$host' has died; run: lab up"

# Nothing of the caller's environment goes along but the terminal and what sanitizers and profilers read.
environment=("TERM=${TERM:-dumb}" LANG=C.UTF-8 PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin)
for name in ASAN_OPTIONS UBSAN_OPTIONS TSAN_OPTIONS LSAN_OPTIONS LLVM_PROFILE_FILE; do
  [[ -z ${!name:-} ]] || environment+=("$name=${!name}")
done
# --no-fork: bash stays in this machine's PID namespace, and only the command that it starts is in the node's.
# That lets it see and pass on signals, and end the command when it is killed itself.
exec env -i "${environment[@]}" nsenter --no-fork --target "$pid" --net --uts --mount --ipc --pid -- \
  bash "$ROOT/lab/lib/login.sh" "$user" "$PWD" "$@"
