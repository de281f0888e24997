# account-locked: "Client's credentials have been revoked", half an hour later it works: wrong passwords have locked alice out
#
# A user: accounts of computers are never locked out (MS-ADTS 3.1.1.4.5.17).
lockoutThreshold() { inNode dc1 samba-tool domain passwordsettings set --account-lockout-threshold="$1" >/dev/null; }

breakIt() {
  local try
  lockoutThreshold 3
  for try in 1 2 3; do inNode guest1 kinit "alice@$realm" <<<"wrong password $try" &>/dev/null || true; done
}

remedy() { onHost dc1 'samba-tool user unlock alice'; }

repair() {
  lockoutThreshold 0
  inNode dc1 samba-tool user unlock alice >/dev/null
}
