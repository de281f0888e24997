# resolver-dead: "Temporary failure in name resolution": the only name server of host1 never answers
breakIt() {
  keep host1 /etc/resolv.conf
  fill host1 /etc/resolv.conf <<<$'search lab.test\nnameserver 10.99.0.199\noptions timeout:2 attempts:1'
}

remedy() { onHost host1 "sed -i 's/^nameserver.*/nameserver 10.99.0.10/' /etc/resolv.conf"; }

repair() { putBack host1; }
