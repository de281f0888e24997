# nsswitch-mdns: dig finds the controller, ping and ssh do not: "hosts:" of nsswitch.conf asks mDNS and ends there
#
# A domain of two labels below .local is what people report; the lab's domain is not, so here dns stands nowhere behind.
breakIt() {
  keep host1 /etc/nsswitch.conf
  inNode host1 sed -i 's/^hosts:.*/hosts: files mdns4_minimal [NOTFOUND=return]/' /etc/nsswitch.conf
}

remedy() { onHost host1 "sed -i 's/^hosts:.*/hosts: files dns/' /etc/nsswitch.conf"; }

repair() { putBack host1; }
