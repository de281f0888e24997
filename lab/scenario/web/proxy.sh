# Runs on proxy1: three proxies, each with its own way to log in. Arguments: the folder of the keytabs, this folder.
set -euo pipefail
keytabs=$1 here=$2

mkdir -p /run/squid
install -o proxy -m 600 "$keytabs/proxy1.keytab" /run/squid/proxy1.keytab
printf 'basicuser:%s\n' "$(openssl passwd -apr1 'Basic-Pass1')" >/run/squid/users

# proxy NAME PORT LINE...: one of them; the lines are its way to log in.
proxy() {
  local name=$1 port=$2
  {
    printf 'http_port %s\npid_filename /run/squid/%s.pid\n' "$port" "$name"
    printf 'cache_log /run/squid/%s.cache.log\naccess_log stdio:/run/squid/%s.log lab\n' "$name" "$name"
    printf '%s\n' "${@:3}"
  } >"/run/squid/$name.conf"
  sed "/^# access/r /run/squid/$name.conf" "$here/squid.conf" >"/run/squid/$name.full.conf"
  setsid squid -N -n "$name" -f "/run/squid/$name.full.conf" </dev/null &>"/run/squid/$name.out" &
}

chown -R proxy /run/squid
login=('acl known proxy_auth REQUIRED' 'http_access deny !known')
proxy negotiate 3128 \
  'auth_param negotiate program /usr/lib/squid/negotiate_kerberos_auth -k /run/squid/proxy1.keytab -s GSS_C_NO_NAME' \
  'auth_param negotiate children 4 startup=1 idle=1' "${login[@]}"
proxy basic 3129 'auth_param basic program /usr/lib/squid/basic_ncsa_auth /run/squid/users' \
  'auth_param basic children 2 startup=1 idle=1' 'auth_param basic realm lab' "${login[@]}"
proxy open 3130 'http_port 8080'
