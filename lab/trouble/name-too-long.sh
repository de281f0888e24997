# name-too-long: "Our netbios name can be at most 15 chars long" at net ads join, adcli cuts it: the name of guest1 is longer
breakIt() {
  keep guest1 /etc/hostname /etc/hosts
  inNode guest1 hostname accounting-frontend
  inNode guest1 sed -i 's/guest1/accounting-frontend/g' /etc/hostname /etc/hosts
}

remedy() { onHost guest1 "hostname guest1; sed -i 's/accounting-frontend/guest1/g' /etc/hostname /etc/hosts"; }

repair() {
  inNode guest1 hostname guest1
  putBack guest1
  guestUnjoined ACCOUNTING-FRON
}
