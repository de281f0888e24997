# cldap-filtered: realm discover and adcli find no domain, SSSD no site: a firewall drops UDP 389 on the way to dc1
breakIt() { dcFiltered 'udp dport 389 drop'; }

remedy() { onHost dc1 'nft delete table inet trouble_cldap_filtered'; }

repair() { dcUnfiltered; }
