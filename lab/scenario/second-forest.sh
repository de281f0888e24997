# second-forest [off]: a forest other.test with a two-way trust, controller other1 at 10.99.0.12, listed among this forest's domains; off takes it back
#
# It stands for a second domain of the forest, which Samba cannot make: a cross reference in the configuration partition
# names it as one, and Kerberos goes through the trust. dc1 has its DNS names too. Its data is in second-forest.ldif. The
# daemon of host1 is started anew, because it reads the list of domains once an hour.

# otherForest LOG: other1 with a forest of its own, running.
otherForest() {
  local domain=other.test
  nodeUp other1 10.99.0.12
  inNode other1 find /etc/samba /var/lib/samba /var/cache/samba -type f -delete
  inNode other1 samba-tool domain provision --realm="${domain^^}" --domain=OTHER --server-role=dc \
    --dns-backend=SAMBA_INTERNAL --adminpass="$adminPassword" --host-name=other1 --host-ip=10.99.0.12 \
    --function-level=2008_R2 --option='dns forwarder=' &>"$1" ||
    { tail -n 5 "$1" >&2; die "provisioning failed; its log is $1"; }
  inNode other1 /usr/bin/python3 "$ROOT/lab/data/load.py" <"$ROOT/lab/scenario/second-forest.ldif"
  dcStart other1
  dcStarted other1
}

# otherNames: what dc1 answers for the other forest.
otherNames() {
  local zone=other.test row
  inNode dc1 samba-tool dns zonecreate 127.0.0.1 "$zone" -U "administrator%$adminPassword" >/dev/null
  {
    echo "add other1.$zone A 10.99.0.12"
    echo "add $zone A 10.99.0.12"
    echo "add 12.0.99.10.in-addr.arpa PTR other1.$zone"
    for row in "_ldap._tcp 389" "_ldap._tcp.dc._msdcs 389" "_ldap._tcp.pdc._msdcs 389" "_kerberos._tcp 88" \
      "_kerberos._udp 88" "_kerberos._tcp.dc._msdcs 88" "_kpasswd._tcp 464" "_kpasswd._udp 464" "_gc._tcp 3268" \
      "_ldap._tcp.gc._msdcs 3268"; do
      echo "add ${row% *}.$zone SRV 0 100 ${row#* } other1.$zone"
    done
  } | dcDatabase dns.py
}

# otherListed: a cross reference that makes other.test a domain of this forest. With the SID in front of the name, as
# dc1 has no object of that name: without one its KDC would answer nobody any more.
otherListed() {
  local sid
  sid=$(inNode dc1 ldbsearch -H "$database" "(trustPartner=other.test)" securityIdentifier 2>/dev/null |
    sed -n 's/^securityIdentifier: //p')
  printf 'dn: %s\nobjectClass: crossRef\nnCName: <SID=%s>;DC=other,DC=test\ndnsRoot: other.test\n' "$listing" "$sid"
  printf 'nETBIOSName: OTHER\nsystemFlags: 3\n'
}

otherUp() {
  local log=$state/nodes/other1/forest.log
  mkdir -p "${log%/*}"
  otherForest "$log"
  otherNames
  inNode dc1 samba-tool domain trust create other.test --type=forest --direction=both --create-location=both \
    -U "administrator@OTHER.TEST%$adminPassword" --local-dc-username=administrator \
    --local-dc-password="$adminPassword" &>>"$log" || { tail -n 5 "$log" >&2; die "no trust; the log is $log"; }
  otherListed | inNode dc1 ldbadd --relax -H "$database" /dev/stdin >/dev/null
}

# otherDown: takes back whatever is there, so that it also ends a broken start.
otherDown() {
  inNode dc1 ldbdel --relax -H "$database" "$listing" &>/dev/null || true
  inNode dc1 samba-tool domain trust delete other.test --delete-location=local --local-dc-username=administrator \
    --local-dc-password="$adminPassword" &>/dev/null || true
  inNode dc1 samba-tool dns zonedelete 127.0.0.1 other.test -U "administrator%$adminPassword" &>/dev/null || true
  dcDatabase dns.py <<<"remove 12.0.99.10.in-addr.arpa PTR other1.other.test"
  nodeDown other1
}

scenario() {
  local database=/var/lib/samba/private/sam.ldb listing=CN=OTHER,CN=Partitions,CN=Configuration,DC=lab,DC=test
  case $* in
    '') otherUp ;;
    off) otherDown ;;
    *) die "second-forest takes no argument but 'off'" ;;
  esac
  daemonStop
  daemonStart
  say "the forest other.test is ${1:-up}"
}
