# account-disabled: "Client's credentials have been revoked": the account of host1 is disabled
breakIt() { inNode dc1 samba-tool user disable 'HOST1$' >/dev/null; }

remedy() { onHost dc1 "samba-tool user enable 'HOST1\$'"; }

repair() { inNode dc1 samba-tool user enable 'HOST1$' >/dev/null; }
