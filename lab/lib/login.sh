# The far end of `lab exec`: becomes the user, goes to the directory, runs the command, passes signals on.
# Arguments: user, directory, command and its arguments. Exit status: the command's; 128 + N if signal N ended it;
# 125 when the lab itself failed, 126 and 127 as in a shell.
set -euo pipefail
user=$1 directory=$2
shift 2

fail() {
  printf 'lab exec: %s\n' "$1" >&2
  exit 125
}

uid=
while IFS=: read -r name _ uid gid _ home shell; do
  [[ $name != "$user" ]] || break
  uid=
done </etc/passwd
[[ -n $uid ]] || fail "there is no user '$user' on $HOSTNAME"

export HOME=$home USER=$user LOGNAME=$user SHELL=${shell:-/bin/sh}
unset OLDPWD SHLVL
umask 022
ulimit -Sc 0
ulimit -Sn 1024 2>/dev/null || true

# The caller's directory when it exists here, else the user's home.
cd "$directory" 2>/dev/null || cd "$HOME" 2>/dev/null || cd /

# pdeathsig: a killed `lab exec` takes its command along. --default-signal: bash lets background commands ignore
# the keyboard's signals.
command=(setpriv --pdeathsig KILL)
[[ $user == root ]] || command+=(--reuid "$uid" --regid "$gid" --init-groups)
# Standard error is the command's alone: bash would report there that the command crashed.
exec {commandError}>&2 2>/dev/null
env --default-signal=INT,QUIT "${command[@]}" -- "$@" <&0 2>&"$commandError" {commandError}>&- &
child=$!
exec {commandError}>&-

interrupted=
# shellcheck disable=SC2317  # called by the traps
passOn() {
  interrupted=yes
  kill -"$1" "$child" 2>/dev/null || true
}
for signal in TERM HUP USR1 USR2 CONT WINCH; do
  # shellcheck disable=SC2064  # the name of the signal is meant now
  trap "passOn $signal" "$signal"
done
# What is typed at a terminal reaches the command without help.
if { : </dev/tty; } 2>/dev/null; then
  trap 'interrupted=yes' INT QUIT
else
  trap 'passOn INT' INT
  trap 'passOn QUIT' QUIT
fi

status=0
while :; do
  interrupted=
  wait "$child" && status=0 || status=$?
  [[ -n $interrupted ]] || break
done
exit "$status"
