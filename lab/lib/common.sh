# What every command of the lab but `exec` shares: paths, messages, the lock, and which processes are the lab's own.
#
# A process belongs to a lab when its environment says so (JOINSCOPE_LAB=<state directory>). Process ids in files
# are only hints: each is checked against that mark before it is used or signalled, so that neither a reboot nor
# a reused id can make the lab touch a stranger.

state=$labRoot/$labName
realm=LAB.TEST
domain=lab.test
dcAddress=10.99.0.10
hostAddress=10.99.0.21
guestAddress=10.99.0.31
adminPassword='Passw0rd!'
# What every process of a node starts with; PATH is the usual one of a login.
nodeEnvironment=("JOINSCOPE_LAB=$state" PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8)

say() { printf 'lab %s: %s\n' "$labName" "$*" >&2; }

die() {
  say "$*"
  exit 6
}

# obstacle TEXT: names why this machine cannot run the lab and ends with 77, which tells a test to skip.
obstacle() {
  say "$*"
  exit 77
}

# needHost: ends with the reason and the remedy when this machine cannot run the lab.
needHost() {
  local tool
  ((EUID == 0)) || obstacle "needs root: run it with sudo, or as root in a container with --privileged"
  for tool in samba:/usr/sbin/samba adcli:/usr/sbin/adcli chrony:/usr/sbin/chronyd nftables:/usr/sbin/nft \
    ldap-utils:/usr/bin/ldapsearch bind9-dnsutils:/usr/bin/dig krb5-user:/usr/bin/kinit iproute2:/usr/sbin/ip; do
    [[ -x ${tool#*:} ]] || obstacle "the package ${tool%%:*} is missing: run ./dev setup"
  done
  unshare --mount --net --uts --ipc --pid --fork true 2>/dev/null ||
    obstacle "this machine forbids new namespaces: a container needs --privileged"
}

# takeLock: one command at a time changes this lab; waits for another one that is at it. The lock is on the state
# directory itself, which `down` removes, so look whether the directory that was locked is still the one in place.
takeLock() {
  while :; do
    mkdir -p "$state"
    # shellcheck disable=SC2093  # only the redirection counts
    { exec 9<"$state"; } 2>/dev/null || continue
    flock --timeout 300 9 || die "another command has been changing this lab for 5 minutes; end it first"
    [[ $state -ef /proc/self/fd/9 ]] && return 0
  done
}

# hasMark PID VARIABLE=VALUE: true when the process runs and started with this variable.
hasMark() {
  local entry
  [[ -r /proc/$1/environ ]] || return 1
  while IFS= read -r -d '' entry; do
    [[ $entry != "$2" ]] || return 0
  done 2>/dev/null <"/proc/$1/environ"
  return 1
}

# ownProcesses: the ids of all processes of this lab that run, whether or not a file tells of them.
ownProcesses() {
  local file
  while IFS= read -r file; do
    file=${file#/proc/}
    echo "${file%/environ}"
  done < <(grep --text --null-data --line-regexp --fixed-strings --files-with-matches --no-messages \
    "JOINSCOPE_LAB=$state" /proc/[0-9]*/environ)
}

# ended PID: true when the process is gone or is only waiting to be reaped. A zombie that was the PID 1 of a node
# has already taken all processes of the node with it.
ended() {
  local stat
  { read -r stat <"/proc/$1/stat"; } 2>/dev/null || return 0
  stat=${stat##*) }
  [[ $stat == [ZX]* ]]
}

# endProcesses PID...: kills those that are the lab's own, returns when the last one has ended.
endProcesses() {
  local pid tries killed=()
  for pid in "$@"; do
    hasMark "$pid" "JOINSCOPE_LAB=$state" && kill -KILL "$pid" 2>/dev/null && killed+=("$pid")
  done
  for pid in "${killed[@]}"; do
    for ((tries = 0; tries < 500; tries++)); do
      ! ended "$pid" || continue 2
      sleep 0.02
    done
    die "process $pid does not end; look at it with 'ps -fp $pid'"
  done
}

# elapsed START: seconds since START (a value of EPOCHREALTIME), with one digit.
elapsed() {
  local tenths=$(((${EPOCHREALTIME/./} - ${1/./}) / 100000))
  echo "$((tenths / 10)).$((tenths % 10))"
}
