# spn-missing: "Server not found in Kerberos database" at ssh to host1: its account has no host/ service principal names
breakIt() { accountModified 'replace: servicePrincipalName' 'servicePrincipalName: RestrictedKrbHost/HOST1' -; }

remedy() { onHost host1 'adcli update --service-name=host --service-name=RestrictedKrbHost'; }

repair() {
  accountModified 'replace: servicePrincipalName' 'servicePrincipalName: host/HOST1' \
    'servicePrincipalName: host/host1.lab.test' 'servicePrincipalName: RestrictedKrbHost/HOST1' \
    'servicePrincipalName: RestrictedKrbHost/host1.lab.test' -
}
