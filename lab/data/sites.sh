# sites.sh SUBNETS: turns the table of subnets into LDIF: first the sites it names, then the subnets, in its order.
# A line is SUBNET SITE; the site - leaves the subnet without one. Lines that start with # are comments.
set -euo pipefail
configuration=CN=Configuration,DC=lab,DC=test

awk '!/^#/ && NF == 2 && $2 != "-" && $2 != "Default-First-Site-Name" && !seen[$2]++ { print $2 }' "$1" |
  while read -r site; do
    printf 'dn: CN=%s,CN=Sites,%s\nobjectClass: site\n\n' "$site" "$configuration"
    printf 'dn: CN=DEFAULTIPSITELINK,CN=IP,CN=Inter-Site Transports,CN=Sites,%s\nchangetype: modify\n' "$configuration"
    printf 'add: siteList\nsiteList: CN=%s,CN=Sites,%s\n\n' "$site" "$configuration"
  done

awk -v conf="$configuration" '!/^#/ && NF == 2 {
  printf "dn: CN=%s,CN=Subnets,CN=Sites,%s\nobjectClass: subnet\n", $1, conf
  if ($2 != "-") printf "siteObject: CN=%s,CN=Sites,%s\n", $2, conf
  printf "\n"
}' "$1"
