# enctypes-account: "No key table entry found", "KDC has no support for encryption type": the account of host1 was set to RC4 alone before a join, the KDC wants AES
encryptionTypes() { accountModified 'replace: msDS-SupportedEncryptionTypes' "msDS-SupportedEncryptionTypes: $1" -; }

breakIt() {
  encryptionTypes 4
  joinedAnew
}

remedy() {
  onHost host1 "net ads enctypes set 'HOST1\$' 28 -U 'administrator%$adminPassword' --option=realm=$realm"
  onHost host1 "echo -n '$adminPassword' | adcli join --stdin-password $domain"
}

repair() {
  encryptionTypes 28
  joinedAnew
}
