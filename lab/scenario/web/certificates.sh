# The scenario's certificates: arguments DIRECTORY DOMAIN. In DIRECTORY/ssl what a client trusts (ca.pem, also under
# its hash) and cloud1's own; in DIRECTORY those of web1, one for each fault.
set -euo pipefail
cd "$1"
domain=$2
mkdir ssl

# authority NAME: NAME.pem, which signs itself, and NAME.key.
authority() {
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$1.key" -out "$1.pem" -days 30 \
    -subj "/CN=$1 of the lab"
}

# certificate NAME AUTHORITY HOST...: NAME.crt and NAME.key for these host names.
certificate() {
  local name=$1 signer=$2 names
  shift 2
  printf -v names 'DNS:%s,' "$@"
  openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout "$name.key" -out "$name.csr" -subj "/CN=$1"
  openssl x509 -req -in "$name.csr" -CA "$signer.pem" -CAkey "$signer.key" -days 2 -out "$name.crt" \
    -extfile <(echo "subjectAltName=${names%,}")
}

authority ca
authority unknown
certificate good ca "web1.$domain" "web1"
certificate wronghost ca "other.$domain"
certificate strange unknown "web1.$domain"
certificate cloud1 ca "cloud1.$domain" "pod1.$domain" "cloud.$domain"
# Valid two days of last month.
(
  eval "$(declare -f certificate)"
  openssl() { faketime -f -30d /usr/bin/openssl "$@"; }
  certificate expired ca "web1.$domain"
)
mv cloud1.crt cloud1.key ssl
cp ca.pem ssl
openssl rehash ssl
