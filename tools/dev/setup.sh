# ./dev setup [--quiet] [LIST...]: installs the packages of tools/packages/LIST.txt that are missing (build and lab).

# wantedPackages: the names in the lists, without comments.
wantedPackages() { sed 's/#.*//' "${lists[@]/%/.txt}" | awk 'NF { print $1 }' | sort -u; }

# missingPackages: those of them that are not installed.
missingPackages() {
  local wanted
  wanted=$(wantedPackages)
  # shellcheck disable=SC2086  # one word a package
  comm -23 <(printf '%s\n' "$wanted") \
    <(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' $wanted 2>/dev/null |
      awk '$1 == "installed" { print $2 }' | sort -u)
}

# withoutServices COMMAND...: runs it while packages may start no service on this machine.
withoutServices() {
  local policy=/usr/sbin/policy-rc.d status=0 made=
  if [[ ! -e $policy ]]; then
    made=yes
    printf '#!/bin/sh\nexit 101\n' >"$policy"
    chmod 755 "$policy"
    trap 'rm -f /usr/sbin/policy-rc.d' EXIT
  fi
  "$@" || status=$?
  if [[ -n $made ]]; then
    rm -f "$policy"
    trap - EXIT
  fi
  return "$status"
}

# keepQuiet PACKAGE...: what these packages would start at the next boot stays off; the lab starts its own.
keepQuiet() {
  local package
  [[ -d /run/systemd/system ]] || return 0
  for package in "$@"; do
    case $package in
      samba) systemctl --quiet disable smbd nmbd ;;
      samba-ad-dc) systemctl --quiet disable samba-ad-dc ;;
      sssd-ad) systemctl --quiet disable sssd ;;
      winbind | squid | apache2 | prometheus) systemctl --quiet disable "$package" ;;
    esac 2>/dev/null || true
  done
}

# apt COMMAND...: apt-get that asks nothing and waits for another one to finish.
apt() {
  DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0 \
    -o Dpkg::Options::=--force-confdef -o Dpkg::Options::=--force-confold "$@" >"$log" 2>&1 && return 0
  local status=$?
  tail -n 20 "$log" >&2
  return "$status"
}

run() {
  local quiet='' missing log lists=(build lab)
  if [[ ${1:-} == --quiet ]]; then quiet=yes; shift; fi
  (($# == 0)) || lists=("$@")
  lists=("${lists[@]/#/$ROOT/tools/packages/}")
  for missing in "${lists[@]}"; do
    [[ -f $missing.txt ]] || die "setup: there is no $missing.txt; --quiet is the one option"
  done
  command -v apt-get dpkg-query >/dev/null || die "setup: this is no Debian; install what tools/packages/ lists"
  missing=$(missingPackages)
  if [[ -z $missing ]]; then
    [[ -n $quiet ]] || say "setup: every package is there"
    return 0
  fi
  say "setup: missing: ${missing//$'\n'/ }"
  ((EUID == 0)) || die "setup: installing them needs root: run 'sudo ./dev setup'"
  log=$(mktemp)
  timed "setup: read the package lists" apt update
  # shellcheck disable=SC2086  # one word a package
  timed "setup: install $(wc -w <<<"$missing") packages" withoutServices apt install -y --no-install-recommends $missing
  rm -f "$log"
  # shellcheck disable=SC2086  # one word a package
  keepQuiet $missing
  missing=$(missingPackages)
  [[ -z $missing ]] || die "setup: still missing: ${missing//$'\n'/ }"
}
