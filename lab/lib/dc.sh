# The services of a domain controller: samba and the NTP responder. Each function takes the node's name.

# dcStart NODE: starts them; dcReady tells when they answer.
dcStart() {
  spawnInNode "$1" "$state/nodes/$1/samba.log" samba --foreground --no-process-group --debug-stdout
  # Where the AppArmor profile of a Debian host lets chronyd read and write.
  inNode "$1" install -D -m 644 "$ROOT/lab/data/chrony.conf" /etc/chrony/lab.conf
  inNode "$1" mkdir -p /run/chrony
  spawnInNode "$1" "$state/nodes/$1/chronyd.log" chronyd -d -x -u root -f /etc/chrony/lab.conf
}

# dcReady NODE SECONDS: returns 0 when every service answers, 1 when one does not within about that time.
dcReady() {
  local deadline=$((SECONDS + $2))
  until inNode "$1" timeout --kill-after=1 5 bash "$ROOT/lab/lib/dc_answers.sh" "$1.$domain" &>/dev/null; do
    ((SECONDS < deadline)) || return 1
    sleep 0.05
  done
}

# dcStarted NODE: waits for dcReady, or ends with what samba said.
dcStarted() {
  ! dcReady "$1" 30 || return 0
  tail -n 5 "$state/nodes/$1/samba.log" >&2
  die "the domain controller $1 does not answer; its log is $state/nodes/$1/samba.log"
}

# dcStop NODE: ends both in an orderly way, so that the databases on disk are whole.
dcStop() { inNode "$1" bash "$ROOT/lab/lib/dc_stop.sh" || die "the services of $1 do not end"; }

# dcDatabase PROGRAM [ARGUMENT...]: runs a Python program of lab/data with samba's modules on dc1.
dcDatabase() { inNode dc1 /usr/bin/python3 "$ROOT/lab/data/$1" "${@:2}"; }
