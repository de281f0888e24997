# Troubles: faults with a name, which people meet and search for. A file each in lab/trouble/, its first line says what
# is broken, and it has up to three functions: breakIt makes the fault, remedy runs what an administrator would run to
# mend it, repair puts the lab back as it was, whether or not the remedy has been run.
#
# What is broken at the moment has a folder in $state/trouble; $record is that of the trouble at work.

# troubleLoad NAME: its functions, and $record.
troubleLoad() {
  local file=$ROOT/lab/trouble/${1:-}.sh
  [[ -n ${1:-} && $1 != */* && -e $file ]] || die "there is no trouble '${1:-}'; 'lab list' lists them"
  record=$state/trouble/$1
  # shellcheck source=/dev/null
  . "$file"
}

# troubleMended NAME: repairs it. In a subshell, as each file defines the same functions.
troubleMended() (
  trap 'say "${record##*/} could not be repaired; end the lab with: lab down"' EXIT
  troubleLoad "$1"
  repair
  rm -rf "$record"
  # The daemon may be waiting to try again, or know the world as it was.
  if daemonPid >/dev/null; then
    daemonStop
    daemonStart
  fi
  trap - EXIT
)

cmd-list() {
  local file name
  (($# == 0)) || die "list takes no argument"
  for file in "$ROOT"/lab/trouble/*.sh; do
    name=${file##*/}
    [[ ! -d $state/trouble/${name%.sh} ]] || printf 'BROKEN '
    sed -n '1s/^# //p' "$file"
  done
}

cmd-break() {
  (($# == 1)) || die "usage: lab break NAME ('lab list' lists them)"
  takeLock
  [[ -e $state/complete ]] || die "the lab is down; run: lab up"
  troubleLoad "$1"
  [[ ! -d $record ]] || die "'$1' is broken already; 'lab repair $1' mends it"
  # First of all, so that a broken run can be taken back.
  mkdir -p "$record"
  breakIt
  say "broken: $(sed -n '1s/^# //p' "$ROOT/lab/trouble/$1.sh")"
}

cmd-remedy() {
  (($# == 1)) || die "usage: lab remedy NAME"
  takeLock
  troubleLoad "$1"
  [[ -d $record ]] || die "'$1' is not broken; run: lab break $1"
  remedy
}

cmd-repair() {
  local name names=("$@")
  takeLock
  # What was broken last may lie over what was broken before.
  (($# > 0)) || mapfile -t names < <(ls -t "$state/trouble" 2>/dev/null)
  for name in "${names[@]}"; do
    [[ -d $state/trouble/$name ]] || die "'$name' is not broken"
    troubleMended "$name"
    say "repaired: $name"
  done
}

# onHost HOST LINE: a line of shell there, shown as an administrator would type it.
onHost() {
  printf '%s# %s\n' "$1" "$2"
  inNode "$1" bash -c "$2"
}

# keep HOST PATH...: remembers what lies at these paths, also that nothing does, for putBack. Once a host and trouble.
keep() {
  local host=$1
  shift
  inNode "$host" tar -C / --ignore-failed-read --warning=none -cpPf "$record/$host.tar" "$@"
  printf '%s\n' "$@" >"$record/$host.paths"
}

# putBack HOST: the paths are as they were.
putBack() {
  local paths
  [[ -e $record/$1.paths ]] || return 0
  mapfile -t paths <"$record/$1.paths"
  inNode "$1" rm -rf "${paths[@]}"
  inNode "$1" tar -C / -xpPf "$record/$1.tar"
}

# fill HOST FILE: writes standard input into the file.
fill() { inNode "$1" tee "$2" >/dev/null; }

# filterName: the table of the trouble's packet filter.
filterName() { tr - _ <<<"trouble_${record##*/}"; }

# dcFiltered RULE...: rules for what comes to dc1 from other hosts, for example 'tcp dport 389 drop'.
dcFiltered() {
  {
    printf 'table inet %s { chain in { type filter hook input priority 0;\n' "$(filterName)"
    printf 'iifname != "lo" %s\n' "$@"
    echo '}; }'
  } | inNode dc1 nft -f -
}

# dcUnfiltered: takes them away.
dcUnfiltered() { inNode dc1 nft delete table inet "$(filterName)" 2>/dev/null || true; }

# dcModified: changes the directory by the LDIF on standard input, past the checks that a client meets.
dcModified() { inNode dc1 ldbmodify -H /var/lib/samba/private/sam.ldb /dev/stdin >/dev/null; }

# dcRead DN ATTRIBUTE...: the object as LDIF.
dcRead() { inNode dc1 ldbsearch -H /var/lib/samba/private/sam.ldb --basedn="$1" --scope=base "${@:2}" | sed ':line; N; $!b line; s/\n //g'; }

# accountModified LINE...: changes host1's account, for example 'replace: accountExpires' 'accountExpires: 1'.
accountModified() { { printf 'dn: CN=HOST1,CN=Computers,DC=lab,DC=test\nchangetype: modify\n'; printf '%s\n' "$@"; } | dcModified; }

# newPassword HOST [OPTION...]: the machine changes its password from there, in the directory and in its keytab.
newPassword() { inNode "$1" adcli update --computer-password-lifetime=0 "${@:2}" &>"$record/update.log"; }

# joinedAnew: host1 has a new password and the keytab that belongs to it.
joinedAnew() {
  inNode host1 rm -rf /etc/krb5.keytab
  forestJoin
}

# guestUnjoined ACCOUNT: guest1 is in no domain, whoever has joined it meanwhile.
guestUnjoined() {
  inNode dc1 ldbdel -r -H /var/lib/samba/private/sam.ldb "CN=$1,CN=Computers,DC=lab,DC=test" &>/dev/null || true
  inNode guest1 rm -f /etc/krb5.keytab
}
