# secrets-apart: "wbinfo -t" and "net ads testjoin" fail while kinit -k works: adcli has renewed the password of host1, secrets.tdb is older
winbindStop() { inNode host1 bash -c '! pgrep -x winbindd >/dev/null || smbcontrol winbindd shutdown; while pgrep -x winbindd >/dev/null; do sleep 0.02; done'; }

breakIt() {
  keep host1 /etc/samba /var/lib/samba /var/cache/samba /run/samba
  fill host1 /etc/samba/smb.conf <<'END'
[global]
  workgroup = LAB
  realm = LAB.TEST
  security = ads
  kerberos method = secrets and keytab
END
  # Of yesterday: who changes both within seconds is taken for one tool.
  inNode host1 faketime -f -1d net ads join --no-dns-updates -U "administrator%$adminPassword" &>"$record/join.log"
  spawnInNode host1 "$record/winbindd.log" winbindd --foreground --no-process-group
  newPassword host1
}

remedy() { onHost host1 "net ads join --no-dns-updates -U 'administrator%$adminPassword'"; }

repair() {
  winbindStop
  putBack host1
  joinedAnew
}
