# The snapshot: the state of dc1 and host1 after provisioning, data and join, in build/lab/snapshot-<hash>/.
# The hash covers all that the state depends on, so a changed script or another samba makes a new one.

# snapshotPath: where the snapshot of these very scripts and packages belongs.
snapshotPath() {
  local hash
  hash=$({
    cat "$ROOT"/lab/lib/forest.sh "$ROOT"/lab/lib/snapshot.sh "$ROOT"/lab/data/*
    dpkg-query --show samba-ad-dc samba-ad-provision python3-samba samba-dsdb-modules adcli 2>/dev/null
  } | sha256sum)
  echo "$labRoot/snapshot-${hash:0:16}"
}

# snapshotMake PATH: builds the forest on the nodes and keeps its state. The services are stopped while it is
# copied: the databases are many files that only agree when nobody writes.
snapshotMake() {
  local path=$1 part
  part=$(mktemp -d "$labRoot/part-XXXXXX")
  forestProvision
  dcStart dc1
  dcStarted dc1
  forestNames
  forestJoin
  dcStop dc1
  snapshotPack dc1 "$part/dc1.tar" etc/samba var/lib/samba
  snapshotPack host1 "$part/host1.tar" etc/krb5.conf etc/krb5.keytab etc/orvald var/orvald
  rm -rf "$path"
  mv "$part" "$path"
}

# snapshotPack NODE FILE PATH...: keeps what lies there, with access lists and extended attributes.
snapshotPack() {
  inNode "$1" tar --xattrs --xattrs-include='*' --acls --sparse --warning=no-file-ignored -C / -cf "$2" "${@:3}"
}

# snapshotUnpack NODE FILE: puts it back.
snapshotUnpack() { inNode "$1" tar --xattrs --xattrs-include='*' --acls -C / -xf "$2"; }

# snapshotRestore PATH: fills fresh nodes.
snapshotRestore() {
  inNode dc1 rm -rf /etc/samba /var/lib/samba /var/cache/samba
  inNode dc1 mkdir -p /var/cache/samba
  snapshotUnpack dc1 "$1/dc1.tar"
  snapshotUnpack host1 "$1/host1.tar"
}

# snapshotPrune PATH: removes all others, and what broken runs left.
snapshotPrune() {
  local old
  for old in "$labRoot"/snapshot-* "$labRoot"/part-*; do
    [[ ! -d $old || $old == "$1" ]] || rm -rf "$old"
  done
}
