# second-dc: one more controller of the domain, dc2 at 10.99.0.11, a member of every DNS answer; stays until `lab down`
#
# `lab dc stop dc2`, or an nft rule on it, then makes it the one of two that is down. It asks dc1 for names.

# knownToFirst: dc1 answers with dc2's records and hands out tickets for it.
knownToFirst() {
  inNode dc1 dig +short +time=1 +tries=1 "@$dcAddress" "_gc._tcp.$domain" SRV | grep -q ' dc2\.' &&
    inNode dc1 ldbsearch -H /var/lib/samba/private/sam.ldb "(servicePrincipalName=ldap/dc2.$domain)" dn 2>/dev/null |
    grep -q '^dn: CN=DC2,'
}

scenario() {
  local log=$state/nodes/dc2/join.log tries
  (($# == 0)) || die "second-dc takes no argument"
  nodeUp dc2 10.99.0.11
  inNode dc2 find /etc/samba /var/lib/samba /var/cache/samba -type f -delete
  inNode dc2 samba-tool domain join "$domain" DC -U "administrator%$adminPassword" --server="dc1.$domain" \
    --dns-backend=SAMBA_INTERNAL --option='dns forwarder=' &>"$log" ||
    { tail -n 5 "$log" >&2; die "dc2 could not join; its log is $log"; }
  dcStart dc2
  dcDatabase dns.py <<<"add 11.0.99.10.in-addr.arpa PTR dc2.$domain"
  dcStarted dc2
  # Its records and its ldap/ principal are its own to register; dc1 must have them too, before a host asks for them.
  for ((tries = 0; tries < 60; tries++)); do
    ! knownToFirst || break
    inNode dc1 samba-tool drs replicate dc1 dc2 DC=lab,DC=test -U "administrator%$adminPassword" &>>"$log" || true
    sleep 0.5
  done
  ((tries < 60)) || die "dc1 does not know dc2 after a minute; the log is $log"
  say "dc2 is up"
}
