# Runs on host1: joins it to the domain, as an administrator would, and gives the agent its configuration. What the
# agent knows of the join comes later, from `velkd adopt`. Arguments: domain, domain controller, administrator's password.
set -euo pipefail
joinDomain=$1 controller=$2 password=$3

printf '[libdefaults]\n default_realm = %s\n dns_lookup_realm = false\n dns_lookup_kdc = true\n rdns = false\n' \
  "${joinDomain^^}" >/etc/krb5.conf
printf %s "$password" | adcli join --domain="$joinDomain" --domain-controller="$controller" \
  --login-user=Administrator --stdin-password --host-fqdn="$(hostname -f)" --os-name="Debian GNU/Linux" \
  --os-version=12 --show-details

mkdir -p /etc/orvald /var/orvald/daemon
cp "$(dirname "$0")/orvald.conf" /etc/orvald/orvald.conf
