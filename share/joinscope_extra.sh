#!/bin/sh
# joinscope_extra.sh [PATH...] REPORT: packs the report, the agent's log, /etc/orvald and the paths into REPORT.tar.gz,
# which only its owner may read. Keytabs, stored credentials and private keys stay out; in text files the values under
# names that say password, secret, token or key are replaced.
set -u
umask 077
for report; do :; done
[ "${report:-}" ] || { echo "usage: joinscope_extra.sh [PATH...] REPORT"; exit 2; }
case $report in /*) ;; *) report=$PWD/$report ;; esac
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT

isSecret() {
  case ${1##*/} in *.keytab | *.cred | *.pfx | *.p12 | id_rsa | id_dsa | id_ecdsa | id_ed25519 | shadow | gshadow | *.key) return 0 ;; esac
  head -c 2 -- "$1" 2>/dev/null | od -An -tx1 | grep -q '^ 05 0[12]' || grep -qs -e '-----BEGIN [A-Z ]*PRIVATE KEY' -- "$1"
}

# withoutSecrets: a text with the values of such names replaced, up to the end of the line.
withoutSecrets() {
  sed -E 's/^([^=:]*([Pp][Aa][Ss][Ss][Ww]|[Ss][Ee][Cc][Rr][Ee][Tt]|[Tt][Oo][Kk][Ee][Nn]|[Kk][Ee][Yy])[A-Za-z0-9_.-]*"?[[:space:]]*[=:]).*/\1 (left out)/'
}

add() {
  if [ -d "$1" ]; then
    find "$1" -xdev -type f -print | while IFS= read -r file; do add "$file"; done
    return
  fi
  [ -f "$1" ] || { echo "$1: no such file"; return; }
  if isSecret "$1"; then
    echo "$1: left out"
    return
  fi
  mkdir -p "$work/files/$(dirname -- "$1")"
  if grep -Iq . -- "$1" 2>/dev/null; then withoutSecrets <"$1"; else cat <"$1"; fi >"$work/files/$1"
}

for path; do
  case $path in /*) ;; *) path=$PWD/$path ;; esac
  add "$path"
done
for path in /var/log/orvald.log /etc/orvald; do [ ! -e "$path" ] || add "$path"; done
# Made in the private directory and moved: nothing that somebody planted beside the report is written through.
tar -C "$work/files" -czf "$work/bundle" . && mv -fT "$work/bundle" "$report.tar.gz" && echo "Support bundle: $report.tar.gz"
