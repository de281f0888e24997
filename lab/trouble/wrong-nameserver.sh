# wrong-nameserver: "Name or service not known", "Cannot find KDC for realm": host1 asks a name server that does not know the domain
breakIt() {
  nodeUp ns1 10.99.0.53
  spawnInNode ns1 "$state/nodes/ns1/dnsmasq.log" dnsmasq --keep-in-foreground --user=root --no-resolv --no-hosts \
    --local=/test/ --local=/arpa/
  keep host1 /etc/resolv.conf
  fill host1 /etc/resolv.conf <<<$'search lab.test\nnameserver 10.99.0.53\noptions timeout:2 attempts:1'
}

remedy() { onHost host1 "sed -i 's/^nameserver.*/nameserver 10.99.0.10/' /etc/resolv.conf"; }

repair() {
  putBack host1
  nodeDown ns1
}
