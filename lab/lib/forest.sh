# The forest from nothing: provisioning, data, and the join of host1. What these files do is in the snapshot,
# so snapshot.sh makes a new one when they change.

# forestProvision: a new domain on dc1, with all data but what needs the running services.
forestProvision() {
  local log=$state/nodes/dc1/provision.log
  inNode dc1 find /etc/samba /var/lib/samba /var/cache/samba -type f -delete
  # "dns forwarder=" is empty on purpose: samba-tool would take the name server of resolv.conf, which is dc1 itself.
  inNode dc1 samba-tool domain provision --realm="$realm" --domain=LAB --server-role=dc --dns-backend=SAMBA_INTERNAL \
    --adminpass="$adminPassword" --host-name=dc1 --host-ip="$dcAddress" --function-level=2008_R2 --use-rfc2307 \
    --option='dns forwarder=' &>"$log" || { tail -n 5 "$log" >&2; die "provisioning failed; its log is $log"; }
  { bash "$ROOT/lab/data/sites.sh" "$ROOT/lab/data/subnets.txt"; cat "$ROOT"/lab/data/{directory,zones}.ldif; } |
    dcDatabase load.py "$ROOT/lab/data/users.txt"
}

# forestNames: the reverse zone and the records that no service registers by itself.
forestNames() {
  inNode dc1 samba-tool dns zonecreate 127.0.0.1 0.99.10.in-addr.arpa -U "administrator%$adminPassword" >/dev/null
  dcDatabase dns.py <<END
add 10.0.99.10.in-addr.arpa PTR dc1.$domain
add 21.0.99.10.in-addr.arpa PTR host1.$domain
add host1.$domain A $hostAddress
END
}

# forestJoin: host1 becomes a member. The agent there is agent.sh's business.
forestJoin() {
  local log=$state/nodes/host1/join.log
  inNode host1 bash "$ROOT/lab/data/join.sh" "$domain" "dc1.$domain" "$adminPassword" &>"$log" ||
    { tail -n 5 "$log" >&2; die "host1 could not join; its log is $log"; }
}
