# sssd-offline: SSSD says "Backend is offline", "id" knows no user, kinit -k works: sssd.conf of host1 names a controller that is gone
sssdStart() {
  local tries
  spawnInNode host1 "$record/sssd.log" sssd --interactive --logger=files
  for ((tries = 0; tries < 100; tries++)); do
    ! inNode host1 sssctl domain-status "$domain" 2>/dev/null | grep -q "status: $1" || return 0
    sleep 0.1
  done
  die "SSSD is not ${1,} after 10 s"
}

# stopped FILE PROGRAM: ends it by the process id in the file, as far as it runs.
stopped() {
  # shellcheck disable=SC2016  # for the shell in the node
  inNode host1 bash -c '[ ! -e "$0" ] || { kill $(cat "$0"); while pgrep -x "$1" >/dev/null; do sleep 0.02; done; rm -f "$0"; }' "$@"
}

breakIt() {
  inNode host1 test -x /usr/sbin/sssd || die "the package sssd-ad is missing: run ./dev setup"
  keep host1 /etc/sssd /var/lib/sss /var/log/sssd
  fill host1 /etc/sssd/sssd.conf <<'END'
[sssd]
services = nss, pam, ifp
domains = lab.test

[domain/lab.test]
id_provider = ad
ad_domain = lab.test
ad_server = dc9.lab.test
END
  inNode host1 chmod 600 /etc/sssd/sssd.conf
  inNode host1 mkdir -p /run/dbus
  inNode host1 dbus-daemon --system --fork
  sssdStart Offline
}

# The second half is systemctl restart sssd.
remedy() {
  onHost host1 "sed -i '/^ad_server/d' /etc/sssd/sssd.conf"
  stopped /run/sssd.pid sssd
  sssdStart Online
}

repair() {
  stopped /run/sssd.pid sssd
  stopped /run/dbus/pid dbus-daemon
  putBack host1
}
