# ldap-unsigned: "Strong(er) authentication required (8)": host1's ldap.conf forbids signing, dc1 requires it
breakIt() {
  keep host1 /etc/ldap/ldap.conf
  inNode host1 bash -c 'echo "SASL_SECPROPS none,maxssf=0" >>/etc/ldap/ldap.conf'
}

remedy() { onHost host1 "sed -i '/^SASL_SECPROPS/d' /etc/ldap/ldap.conf"; }

repair() { putBack host1; }
