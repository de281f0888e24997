# site-none: logins go to controllers far away: no subnet of the directory holds the address of host1
breakIt() { inNode dc1 samba-tool sites subnet remove 10.99.0.0/26 >/dev/null; }

remedy() { onHost dc1 'samba-tool sites subnet create 10.99.0.0/26 Default-First-Site-Name'; }

repair() { inNode dc1 samba-tool sites subnet create 10.99.0.0/26 Default-First-Site-Name &>/dev/null || true; }
