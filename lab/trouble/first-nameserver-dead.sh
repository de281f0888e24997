# first-nameserver-dead: logins take seconds, everything is slow: the first of two name servers never answers
breakIt() {
  keep host1 /etc/resolv.conf
  fill host1 /etc/resolv.conf <<<$'search lab.test\nnameserver 10.99.0.199\nnameserver 10.99.0.10\noptions timeout:2 attempts:1'
}

remedy() { onHost host1 "sed -i '/^nameserver 10.99.0.199/d' /etc/resolv.conf"; }

repair() { putBack host1; }
