# catalog-closed: logins with names of other domains fail, groups are missing: a firewall refuses port 3268 of dc1
breakIt() { dcFiltered 'tcp dport 3268 reject with tcp reset'; }

remedy() { onHost dc1 'nft delete table inet trouble_catalog_closed'; }

repair() { dcUnfiltered; }
