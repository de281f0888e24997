# big-zones COMPUTERS ENTRIES: that many joined computers in OU=BigFleet, and entries for that many of them in ten zones; stays until `lab down`
#
# A second call adds nothing that is there already, so sizes can only grow. A thousand computers take some two seconds.

scenario() {
  local computers=${1:?big-zones needs the number of computers} entries=${2:?big-zones needs the number of entries}
  local base=OU=BigFleet,DC=lab,DC=test
  if [[ ! $computers =~ ^[1-9][0-9]{0,5}$ || ! $entries =~ ^[0-9]{1,6}$ ]] || ((entries > computers)); then
    die "big-zones takes 1 to 999999 computers and no more entries than computers"
  fi
  awk -v computers="$computers" -v entries="$entries" -v base="$base" 'BEGIN {
    printf "dn: %s\nobjectClass: organizationalUnit\n\n", base
    for (zone = 0; zone < 10; zone++) {
      printf "dn: CN=Big%d,%s\nobjectClass: container\ndisplayName: $OrvaldZone7\n", zone, base
      printf "description: OrvaldLayout:orv_v2_0\n\n"
      printf "dn: CN=Computers,CN=Big%d,%s\nobjectClass: container\n\n", zone, base
    }
    for (n = 1; n <= computers; n++) {
      printf "dn: CN=BIG%d,%s\nobjectClass: computer\nsAMAccountName: BIG%d$\n", n, base, n
      printf "userAccountControl: %d\noperatingSystemServicePack: Orvald 5.7.0 zone\n\n", n % 50 ? 4096 : 4098
      if (n > entries) continue
      printf "dn: CN=big%d,CN=Computers,CN=Big%d,%s\nobjectClass: serviceConnectionPoint\n", n, n % 10, base
      printf "keywords: OrvaldZoneComputer\nmanagedBy: CN=BIG%d,%s\n\n", n, base
    }
  }' | dcDatabase load.py --skip-present
  say "$computers computers, $entries of them in zones"
}
