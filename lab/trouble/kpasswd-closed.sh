# kpasswd-closed: "Cannot contact any KDC ... changing password": a firewall refuses port 464 of dc1, so that no password can be changed
breakIt() { dcFiltered 'tcp dport 464 reject with tcp reset' 'udp dport 464 reject'; }

remedy() { onHost dc1 'nft delete table inet trouble_kpasswd_closed'; }

repair() { dcUnfiltered; }
