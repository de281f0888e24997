# site-wrong: logins go to controllers far away: the subnet of host1 belongs to a site that has no controller
breakIt() { inNode dc1 samba-tool sites subnet set-site 10.99.0.0/26 Tokyo >/dev/null; }

remedy() { onHost dc1 'samba-tool sites subnet set-site 10.99.0.0/26 Default-First-Site-Name'; }

repair() { inNode dc1 samba-tool sites subnet set-site 10.99.0.0/26 Default-First-Site-Name >/dev/null; }
