# Runs on host1: joins it to the domain and writes the agent's join settings from what adcli, the directory and DNS
# report about the join. Arguments: domain, domain controller, administrator's password.
set -euo pipefail
joinDomain=$1 controller=$2 password=$3

# field NAME: the value of "NAME = value" in what adcli printed on standard input.
field() { sed -n "s/^$1 = //p" | head -n 1; }

# sidText: a security identifier (MS-DTYP 2.4.2.2) as text, from the bytes on standard input.
sidText() {
  od -An -v -tu1 -w1 | awk '
    NR == 1 { sid = "S-" $1 }
    NR >= 3 && NR <= 8 { authority = authority * 256 + $1 }
    NR == 8 { sid = sid sprintf("-%.0f", authority) }
    NR > 8 { part += $1 * 256 ^ ((NR - 9) % 4); if ((NR - 9) % 4 == 3) { sid = sid sprintf("-%.0f", part); part = 0 } }
    END { print sid }'
}

# setting NAME VALUE: one join setting, complete or not at all.
setting() {
  printf '%s\n' "$2" >"/var/orvald/.kset.$1.new"
  mv "/var/orvald/.kset.$1.new" "/var/orvald/kset.$1"
}

printf '[libdefaults]\n default_realm = %s\n dns_lookup_realm = false\n dns_lookup_kdc = true\n rdns = false\n' \
  "${joinDomain^^}" >/etc/krb5.conf
joined=$(printf %s "$password" | adcli join --domain="$joinDomain" --domain-controller="$controller" \
  --login-user=Administrator --stdin-password --host-fqdn="$(hostname -f)" --os-name="Debian GNU/Linux" \
  --os-version=12 --show-details)
printf '%s\n' "$joined"
info=$(adcli info --domain-controller="$controller")
printf '%s\n' "$info"

computer=$(field computer-name <<<"$joined")
site=$(field computer-site <<<"$info")
globalCatalog=$(dig +short "_gc._tcp.$(field domain-forest <<<"$info")" SRV | sort -n | awk 'NR == 1 { sub(/\.$/, "", $4); print tolower($4) }')
export KRB5CCNAME=FILE:/run/join.ccache
kinit -k "$computer\$"
sid=$(ldapsearch -Q -Y GSSAPI -LLL -o ldif-wrap=no -H "ldap://$controller" -b "$(field naming-context <<<"$joined")" \
  "(sAMAccountName=$computer\$)" objectSid | sed -n 's/^objectSid:: //p' | base64 -d | sidText)
kdestroy

mkdir -p /etc/orvald /var/orvald/daemon /usr/share/orvald/etc
setting domain "$(field domain-name <<<"$joined" | tr '[:upper:]' '[:lower:]')"
setting hostname "$(field host-fqdn <<<"$joined" | tr '[:upper:]' '[:lower:]')"
setting prew2khostname "$computer"
setting site "$site"
setting subnetsite "$site"
setting domaincontroller "$(field domain-controller <<<"$info" | tr '[:upper:]' '[:lower:]')"
setting globalcatalog "$globalCatalog"
setting hostsid "$sid"
setting schema auto
cp "$(dirname "$0")/orvald.conf" /etc/orvald/orvald.conf
echo 'Pellion Infrastructure Services Version 5.7.0' >/usr/share/orvald/etc/orvald_suite_version
for file in /var/orvald/kset.*; do
  [[ -s $file && $(<"$file") ]] || { echo "join: nothing is known for $file" >&2; exit 1; }
done
