# Runs on web1: the HTTPS server. Arguments: the folder of the keytabs and certificates, this folder.
set -euo pipefail
mkdir -p /run/web/www
cp "$1"/{good,wronghost,expired,strange}.{crt,key} /run/web
install -o www-data -m 600 "$1/web1.keytab" /run/web/web1.keytab
install -m 755 "$2/site_check.sh" /run/web/site_check.sh
echo plain >/run/web/www/plain.txt
head -c 1000000 /dev/zero >/run/web/www/large
apache2 -f "$2/apache.conf" -k start
