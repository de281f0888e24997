# The domain controller's services: samba and the NTP responder.

# dcStart: starts them; dcReady tells when they answer.
dcStart() {
  spawnInNode dc1 "$state/nodes/dc1/samba.log" samba --foreground --no-process-group --debug-stdout
  spawnInNode dc1 "$state/nodes/dc1/chronyd.log" chronyd -d -x -u root -f "$ROOT/lab/data/chrony.conf"
}

# dcReady SECONDS: returns 0 when every service answers, 1 when one does not within the time.
dcReady() { inNode dc1 bash "$ROOT/lab/lib/dc_ready.sh" "$dcAddress" "$domain" "$1" 2>/dev/null; }

# dcStarted: dcReady, or the end of the lab with what samba said.
dcStarted() {
  ! dcReady 30 || return 0
  tail -n 5 "$state/nodes/dc1/samba.log" >&2
  die "the domain controller does not answer; its log is $state/nodes/dc1/samba.log"
}

# dcStop: ends both in an orderly way, so that the databases on disk are whole.
dcStop() { inNode dc1 bash "$ROOT/lab/lib/dc_stop.sh" || die "the domain controller's services do not end"; }

# dcDatabase PROGRAM [ARGUMENT...]: runs a Python program of lab/data with samba's modules on the controller.
dcDatabase() { inNode dc1 /usr/bin/python3 "$ROOT/lab/data/$1" "${@:2}"; }
