# controller-stale-address: every second connection hangs: dc1 has a second address in DNS, where nobody is any more
breakIt() { dcDatabase dns.py <<<"add dc1.$domain A 10.99.0.198"; }

remedy() { onHost dc1 "samba-tool dns delete dc1 $domain dc1 A 10.99.0.198 -U 'administrator%$adminPassword'"; }

repair() { dcDatabase dns.py <<<"remove dc1.$domain A 10.99.0.198"; }
