# connectors on | twins | many NUMBER | off: cloud connectors as directory objects, with names in DNS and a site link that makes Tokyo the next closest site
#
# All are in OU=Connectors, for the platform https://cloud.lab.test and its instance LAB0001; the table below lists
# them. `many` adds that many in Tokyo, without names in DNS. Nothing of them listens. A host uses them once its
# orvald.conf says cloud.connector.trusted: OU=Connectors,DC=lab,DC=test

connectorsBase=OU=Connectors,DC=lab,DC=test
connectorsLink="CN=TokyoLink,CN=IP,CN=Inter-Site Transports,CN=Sites,CN=Configuration,DC=lab,DC=test"

# connectorsTable: name, address, and what its object says besides what all say. A leading - takes a keyword away.
connectorsTable() {
  cat <<'TABLE'
conn1 10.99.0.41 mobile.proxySite:Default-First-Site-Name
conn2 10.1.1.42 mobile.proxySite:Default-First-Site-Name
conn3 10.2.1.43 mobile.proxySite:Paris core.webproxy.port:3128
conn4 10.3.1.44 mobile.proxySite:Tokyo
conn5 10.99.0.45 mobile.proxySite:Default-First-Site-Name core.webproxyenabled:false
conn6 10.99.0.46 mobile.proxySite:Default-First-Site-Name -core.cloudurl -mobile.proxySysId
conn7 10.99.0.47 mobile.proxySite:Default-First-Site-Name mobile.proxySysId:LAB0002
TABLE
}

# connectorsLdif: a computer and its connector for each line of such a table on standard input.
connectorsLdif() {
  awk -v base="$connectorsBase" -v domain="$domain" '{
    delete keyword
    host = $1 "." domain
    keyword["core.cloudurl"] = "https://cloud.lab.test/"
    keyword["core.webproxyenabled"] = "true"
    keyword["core.webproxy.port"] = "8080"
    keyword["core.iwa.enabled"] = keyword["core.iwa.useHttps"] = "true"
    keyword["core.iwa.hostname"] = host
    keyword["core.iwa.httpPort"] = "80"
    keyword["core.iwa.httpsPort"] = "8443"
    keyword["mobile.proxySysId"] = "LAB0001"
    keyword["mobile.proxyUri"] = "net.tcp://" host ":443/OnPremRpc"
    for (i = 3; i <= NF; ++i) {
      colon = index($i, ":")
      if ($i ~ /^-/) delete keyword[substr($i, 2)]
      else keyword[substr($i, 1, colon - 1)] = substr($i, colon + 1)
    }
    printf "dn: CN=%s,%s\nobjectClass: computer\nsAMAccountName: %s$\n", toupper($1), base, toupper($1)
    printf "userAccountControl: 4096\ndNSHostName: %s\n\n", host
    printf "dn: CN=proxy,CN=%s,%s\nobjectClass: serviceConnectionPoint\n", toupper($1), base
    for (name in keyword) printf "keywords: pellion.%s:%s\n", name, keyword[name]
    printf "\n"
  }'
}

connectorsNames() {
  connectorsTable | awk -v how="$1" -v domain="$domain" '{ print how, $1 "." domain, "A", $2 }' | dcDatabase dns.py
}

connectorsOff() {
  inNode dc1 ldbdel -r -H /var/lib/samba/private/sam.ldb "$connectorsBase" &>/dev/null || true
  inNode dc1 ldbdel -H /var/lib/samba/private/sam.ldb "$connectorsLink" &>/dev/null || true
  connectorsNames remove
}

# The object in ALIEN1 belongs to another product, and names a service as a connector does.
connectorsOn() {
  connectorsOff
  {
    printf 'dn: %s\nobjectClass: organizationalUnit\n\n' "$connectorsBase"
    printf 'dn: %s\nobjectClass: siteLink\ncost: 10\nreplInterval: 180\n' "$connectorsLink"
    printf 'siteList: CN=%s,CN=Sites,CN=Configuration,DC=lab,DC=test\n' Default-First-Site-Name Tokyo
    echo
    connectorsTable | connectorsLdif
    printf 'dn: CN=ALIEN1,%s\nobjectClass: computer\nsAMAccountName: ALIEN1$\n' "$connectorsBase"
    printf 'userAccountControl: 4096\ndNSHostName: alien1.%s\n\n' "$domain"
    printf 'dn: CN=proxy,CN=ALIEN1,%s\nobjectClass: serviceConnectionPoint\n' "$connectorsBase"
    printf 'keywords: another.product:net.tcp://alien1.%s:443/OnPremRpc\n' "$domain"
  } | dcDatabase load.py
  connectorsNames add
}

# Two objects for one service: both name twin1 as the web proxy.
connectorsTwins() {
  local same="mobile.proxyUri:net.tcp://twin1.$domain:443/OnPremRpc core.webproxy:twin1.$domain:8080"
  printf '%s\n' "twin1 - mobile.proxySite:Paris $same" "twin2 - mobile.proxySite:Paris $same" |
    connectorsLdif | dcDatabase load.py --skip-present
}

connectorsMany() {
  [[ $1 =~ ^[1-9][0-9]{0,4}$ ]] || die "connectors many takes 1 to 99999"
  seq -f 'many%05.0f - mobile.proxySite:Tokyo' "$1" | connectorsLdif | dcDatabase load.py --skip-present
}

scenario() {
  case $#:${1:-} in
    1:on) connectorsOn ;;
    1:twins) connectorsTwins ;;
    2:many) connectorsMany "$2" ;;
    1:off) connectorsOff ;;
    *) die "usage: lab scenario connectors on|twins|many NUMBER|off" ;;
  esac
}
