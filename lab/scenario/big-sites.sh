# big-sites SUBNETS SITES: that many more subnets (10.100.0.0/24 on) over that many more sites (Big1 on); stays until `lab down`
#
# A second call adds nothing that is there already, so sizes can only grow.

scenario() {
  local subnets=${1:?big-sites needs the number of subnets} sites=${2:?big-sites needs the number of sites}
  local configuration=CN=Sites,CN=Configuration,DC=lab,DC=test number
  [[ $subnets =~ ^[0-9]{1,4}$|^1[0-9]{4}$ && $sites =~ ^[1-9][0-9]{0,3}$ ]] ||
    die "big-sites takes up to 19999 subnets and 1 to 9999 sites"
  {
    for ((number = 1; number <= sites; number++)); do
      printf 'dn: CN=Big%d,%s\nobjectClass: site\n\n' "$number" "$configuration"
      printf 'dn: CN=BIGSRV%d,CN=Servers,CN=Big%d,%s\nobjectClass: server\ndNSHostName: bigsrv%d.%s\n\n' \
        "$number" "$number" "$configuration" "$number" "$domain"
    done
    for ((number = 0; number < subnets; number++)); do
      printf 'dn: CN=10.%d.%d.0/24,CN=Subnets,%s\nobjectClass: subnet\nsiteObject: CN=Big%d,%s\n\n' \
        "$((100 + number / 256))" "$((number % 256))" "$configuration" "$((number % sites + 1))" "$configuration"
    done
  } | dcDatabase load.py --skip-present
  say "$subnets subnets over $sites sites"
}
