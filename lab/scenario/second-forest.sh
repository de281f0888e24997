# second-forest: a forest other.test with a two-way trust, controller other1 at 10.99.0.12, listed among this forest's domains; stays until `lab down`
#
# It stands for a second domain of the forest, which Samba cannot make: a cross reference in the configuration partition
# names it as one. dc1 answers for its names too, as both forests ask dc1 for theirs. Its zones and computers are below.
# The daemon of host1 is started anew, because it reads the list of domains once an hour.

# otherData: two zones with a join, a disabled join and an orphan in one of them, and one computer of each kind.
otherData() {
  local base=DC=other,DC=test row
  for row in "Far 7 orv_v2_0" "Farther 5 orv_r2"; do
    set -- $row
    printf 'dn: CN=%s,%s\nobjectClass: container\ndisplayName: $OrvaldZone%s\ndescription: OrvaldLayout:%s\n\n' \
      "$1" "$base" "$2" "$3"
  done
  printf 'dn: CN=Computers,CN=Far,%s\nobjectClass: container\n\n' "$base"
  for row in "FAR1 4096 5.7.0 zone" "FAR2 4098 5.7.0 zone" "FAR3 4096 5.7.0 auto" "FAR4 4096 4.2 sprig" \
    "FAR5 4096 4.10.1 oem" "FAR6 4096 5.7.0" "FAR7 4096 4.1 auto"; do
    set -- $row
    printf 'dn: CN=%s,CN=Computers,%s\nobjectClass: computer\nsAMAccountName: %s$\nuserAccountControl: %s\n' \
      "$1" "$base" "$1" "$2"
    printf 'operatingSystemServicePack: Orvald %s\n\n' "${*:3}"
  done
  for row in "far1 FAR1" "far2 FAR2" "gone"; do
    set -- $row
    printf 'dn: CN=%s,CN=Computers,CN=Far,%s\nobjectClass: serviceConnectionPoint\nkeywords: OrvaldZoneComputer\n' \
      "$1" "$base"
    [[ -z ${2:-} ]] || printf 'managedBy: CN=%s,CN=Computers,%s\n' "$2" "$base"
    echo
  done
}

# otherForest LOG: other1 with a forest of its own, running.
otherForest() {
  local domain=other.test
  nodeUp other1 10.99.0.12
  inNode other1 find /etc/samba /var/lib/samba /var/cache/samba -type f -delete
  inNode other1 samba-tool domain provision --realm="${domain^^}" --domain=OTHER --server-role=dc \
    --dns-backend=SAMBA_INTERNAL --adminpass="$adminPassword" --host-name=other1 --host-ip=10.99.0.12 \
    --function-level=2008_R2 --option='dns forwarder=' &>"$1" ||
    { tail -n 5 "$1" >&2; die "provisioning failed; its log is $1"; }
  otherData | inNode other1 /usr/bin/python3 "$ROOT/lab/data/load.py"
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

scenario() {
  local log=$state/nodes/other1/forest.log
  (($# == 0)) || die "second-forest takes no argument"
  mkdir -p "${log%/*}"
  otherForest "$log"
  otherNames
  inNode dc1 samba-tool domain trust create other.test --type=forest --direction=both --create-location=both \
    -U "administrator@OTHER.TEST%$adminPassword" --local-dc-username=administrator \
    --local-dc-password="$adminPassword" &>>"$log" || { tail -n 5 "$log" >&2; die "no trust; the log is $log"; }
  printf 'dn: CN=OTHER,CN=Partitions,CN=Configuration,DC=lab,DC=test\nobjectClass: crossRef\nnCName: DC=other,DC=test
dnsRoot: other.test\nnETBIOSName: OTHER\nsystemFlags: 3\n' |
    inNode dc1 ldbadd --relax -H /var/lib/samba/private/sam.ldb /dev/stdin >/dev/null
  daemonStop
  daemonStart
  say "the forest other.test is up"
}
