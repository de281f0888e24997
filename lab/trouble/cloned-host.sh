# cloned-host: "Preauthentication failed" after a virtual machine was copied: the clone of host1 has changed the password they share
breakIt() {
  nodeUp clone1 10.99.0.77
  inNode clone1 hostname host1
  fill clone1 /etc/hosts <<<$'127.0.0.1 localhost\n10.99.0.77 host1.lab.test host1'
  inNode host1 cat /etc/krb5.keytab | fill clone1 /etc/krb5.keytab
  inNode host1 cat /etc/krb5.conf | fill clone1 /etc/krb5.conf
  newPassword clone1
  dcDatabase dns.py <<<"add host1.$domain A 10.99.0.77"
}

# The clone joins with a name of its own as well.
remedy() {
  onHost dc1 "samba-tool dns delete dc1 $domain host1 A 10.99.0.77 -U 'administrator%$adminPassword'"
  onHost host1 "echo -n '$adminPassword' | adcli join --stdin-password $domain"
}

repair() {
  dcDatabase dns.py <<<"remove host1.$domain A 10.99.0.77"
  nodeDown clone1
  joinedAnew
}
