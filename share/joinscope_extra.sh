#!/bin/sh
# joinscope_extra.sh [PATH...] REPORT: packs the report, the stack trace, the agent's log and /etc/orvald, and then the
# paths, into REPORT.tar.gz, which only its owner may read. Keytabs, credential caches and private keys stay out; in
# text files the values under the names of `keyName` are replaced. Links are packed as links. What ends it early leaves
# the bundle without the paths, or none.
set -u
umask 077
PATH=/usr/sbin:/usr/bin:/sbin:/bin
export PATH LC_ALL=C
mostBytes=1073741824 # of the paths together

for report; do :; done
[ "${report:-}" ] || { echo "usage: joinscope_extra.sh [PATH...] REPORT"; exit 2; }
case $report in /*) ;; *) report=$PWD/$report ;; esac
bundle=$report.tar.gz
if [ -e "$bundle" ] && [ ! -f "$bundle" ] && [ ! -L "$bundle" ]; then
  echo "$bundle: no regular file; left as it is, no bundle made"
  exit 1
fi
# The agent's own directory, where nobody else can plant anything.
user=$(id -u)
[ "$user" = 0 ] && private=/var/orvald/tmp || private=/tmp/orvald-$user
work=$(mktemp -d "$private/bundle.XXXXXX") || exit 1
trap 'rm -rf -- "$work"' EXIT
# The whole group, which the command made this script the leader of.
trap 'trap "" HUP INT TERM; kill -- -$$ 2>/dev/null; wait; dropBroken; echo "Ended early: $missing"; exit 143' HUP INT TERM
missing="no bundle"

# In the background, so that a signal need not wait for it.
run() {
  "$@" &
  wait $!
}

# Names that end in NUL, one a line and fit for a terminal, with a text after each.
say() { tr '\001-\037\177' '?' | tr '\000' '\n' | sed "s/\$/: $1/"; }

# stage PART NAME...: copies the files under / that have these names. tar follows no link on its way down.
stage() {
  part=$work/$1
  shift
  mkdir "$part" && cd "$part" && [ $# -gt 0 ] || return
  tar -C / --one-file-system --sparse --mode=u+rwX --warning=no-file-changed --warning=no-file-ignored \
    --exclude-from="$work/secretNames" -cf - -- "$@" | head -c "$mostBytes" | tar -xf - || echo "Not all could be copied"
  find . ! -type f ! -type d ! -type l -print0 | sed -z 's/^.//' >"$work/out"
  find . ! -type f ! -type d ! -type l -delete
  find . -type f -exec grep -laZ -e '-----BEGIN [A-Z ]*PRIVATE KEY' {} + >"$work/secrets"
  # Of NAME NUL OFFSET:MATCH, the names with offset 0.
  find . -type f -exec grep -aboHZ -m1 "$keyBytes" {} + |
    sed -zn '1 { h; b }; /^0:/ { x; p; x }; s/^[0-9]*:[^\n]*\n//; h' >>"$work/secrets"
  xargs -0 rm -f -- <"$work/secrets"
  sed -z 's/^.//' "$work/secrets" >>"$work/out"
  say "left out" <"$work/out"
  find . -type f -exec grep -IlZ . {} + | xargs -0r sed -E -i -f "$work/redact"
}

# pack PART...: the parts in their order, put in place whole.
pack() {
  cd "$work" || return
  for part; do
    set -- "$@" -C "$work/$part" .
    shift
  done
  # Made in the private directory and moved: nothing that somebody planted beside the report is written through.
  tar -czf bundle "$@" && mv -fT bundle "$bundle" && return
  dropBroken
  echo "$bundle: cannot be written whole"
  return 1
}

# A bundle that only begins goes away.
dropBroken() { gzip -t -- "$bundle" 2>/dev/null || rm -f -- "$bundle"; }

printf '%s\n' '*.keytab' '*.cred' '*.pfx' '*.p12' '*.p8' '*.jks' '*.key' 'id_rsa' 'id_dsa' 'id_ecdsa' 'id_ed25519' \
  'shadow' 'gshadow' 'shadow-' 'gshadow-' 'opasswd' 'krb5cc_*' >"$work/secretNames"
# How a keytab or a credential cache begins; how a private key or a key store does in DER.
keyBytes=$(printf '^\005[\001-\004]\\|^\060[\201-\203][\001-\011\013-\377]\\{1,3\\}\002\001')

keyName='([a-z0-9]+[_.-])*([a-z0-9]*(password|passwd|passphrase|secret|token|credentials?)|(bind|root)?pw|pwd|pass|([a-z0-9]*(api|private|secret|access|encryption|signing|shared|master|auth|account))[_.-]?key)[0-9]*'
between="[\"']?[[:space:]]*(=>|:=|=|:)[[:space:]]*"
cat >"$work/redact" <<EOS
# An entry of nsswitch.conf, and the name of a service.
/^[[:space:]]*passwd:([[:space:]]+([a-z]+|\[[^]]*\]))+[[:space:]]*\$/ b
s/kpasswd/kpass\x01wd/g
:continued
/(^|[^a-z0-9_.-])$keyName$between.*\\\\\$/I { \$! { N; b continued } }
s/(^|[^a-z0-9_.-])($keyName$between)("([^"\\\\]|\\\\.)*"|"[^"]*\$|'[^']*'|'[^']*\$|[^[:space:]"'].*)/\1\2(left out)/Ig
s/^([[:space:]]*[a-z_]*(bindpw|rootpw|passwd|password)[[:space:]]+)[^][:space:]=:[].*/\1(left out)/I
s/(<($keyName)([[:space:]][^>]*)?>)[^<]+/\1(left out)/Ig
s#(://[^/:@[:space:]]*:)[^/[:space:]]+@#\1(left out)@#g
s/((authorization|cookie)["']?[[:space:]]*[:=]).*/\1 (left out)/I
s/kpass\x01wd/kpasswd/g
EOS

total=$#
for path; do
  shift
  total=$((total - 1))
  [ $total -gt 0 ] || break
  if real=$(realpath -e -- "$path" 2>/dev/null && echo .); then
    real=${real%??} # the line's end and the point, which kept a line end of the name
    set -- "$@" ".$real"
  else
    printf '%s\0' "$path" | say "no such file"
  fi
done

fixed=
for path in "$private/stacktrace.txt" /var/log/orvald.log /etc/orvald; do [ ! -e "$path" ] || fixed="$fixed .$path"; done
real=$(realpath -e -- "$report" && echo .) && run stage report ".${real%??}"
# shellcheck disable=SC2086 # words without blanks
run stage fixed $fixed
[ $# -eq 0 ] || printf '%s\n' "$@" >"$work/fixed/paths-that-are-missing.txt"
run pack report fixed || exit
if [ $# -gt 0 ]; then
  missing="the paths are not in the bundle"
  rm "$work/fixed/paths-that-are-missing.txt"
  run stage extra "$@"
  run pack report fixed extra || exit
fi
echo "Support bundle: $bundle"
