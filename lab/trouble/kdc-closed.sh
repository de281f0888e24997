# kdc-closed: "Cannot contact any KDC for realm": a firewall refuses port 88 of dc1
breakIt() { dcFiltered 'tcp dport 88 reject with tcp reset' 'udp dport 88 reject'; }

remedy() { onHost dc1 'nft delete table inet trouble_kdc_closed'; }

repair() { dcUnfiltered; }
