# account-expired: "Client's credentials have been revoked": the account of host1 has expired
breakIt() { inNode dc1 samba-tool user setexpiry 'HOST1$' --days=-1 >/dev/null; }

remedy() { onHost dc1 "samba-tool user setexpiry 'HOST1\$' --noexpiry"; }

repair() { inNode dc1 samba-tool user setexpiry 'HOST1$' --noexpiry >/dev/null; }
