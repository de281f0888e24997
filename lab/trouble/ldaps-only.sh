# ldaps-only: "Cannot contact LDAP server (-1)": a firewall lets LDAPS through and drops port 389 of dc1
breakIt() { dcFiltered 'tcp dport 389 drop' 'udp dport 389 drop'; }

remedy() { onHost dc1 'nft delete table inet trouble_ldaps_only'; }

repair() { dcUnfiltered; }
