# PID 1 of a node: gives it a root file system of its own, then waits. Started by nodeUp in fresh namespaces.
# Arguments: shared folder, mount point, node name, its address, name server, domain.
set -euo pipefail
shared=$1 mountPoint=$2 name=$3 address=$4 nameServer=$5 domain=$6

# The process id as the lab's machine counts; the node's own /proc, mounted below, will say 1.
read -r outerPid _ </proc/self/stat

# Everything of the machine can be read, what is written goes to memory.
mountRoot() {
  mount -t tmpfs -o mode=755 tmpfs "$mountPoint"
  cd "$mountPoint"
  mkdir up work root
  mount -t overlay overlay -o lowerdir=/,upperdir=up,workdir=work root
  mount -t proc proc root/proc
  mount -t sysfs -o ro sysfs root/sys
  mount -t tmpfs -o mode=755 tmpfs root/run
  mount -t tmpfs -o mode=1777 tmpfs root/tmp
  mkdir -p root/run/lock root/run/samba
}

# A /dev of its own, so that a test may put a socket at /dev/log.
mountDevices() {
  local device
  mount -t tmpfs -o mode=755 tmpfs root/dev
  for device in null zero full random urandom tty; do
    : >"root/dev/$device"
    mount --bind "/dev/$device" "root/dev/$device"
  done
  mkdir root/dev/pts root/dev/shm
  mount -t devpts -o newinstance,ptmxmode=0666,mode=620,gid=5 devpts root/dev/pts
  mount -t tmpfs -o mode=1777 tmpfs root/dev/shm
  ln -s pts/ptmx root/dev/ptmx
  ln -s /proc/self/fd root/dev/fd
  ln -s /proc/self/fd/0 root/dev/stdin
  ln -s /proc/self/fd/1 root/dev/stdout
  ln -s /proc/self/fd/2 root/dev/stderr
}

# One folder is shared with the machine: the project, or the state of an installed lab. Folders above it become
# passable for all (in this node only), so that a user other than root can run what was built.
mountShared() {
  local folder=$shared
  mkdir -p "root$shared"
  while [[ $folder == */?* ]]; do
    folder=${folder%/*}
    [[ -z $folder ]] || chmod o+x "root$folder"
  done
  mount --bind "$shared" "root$shared"
}

# Identity, and nothing of what this machine may know about a domain of its own.
writeIdentity() {
  rm -rf root/etc/{hosts,hostname,resolv.conf,krb5.conf,krb5.conf.d,krb5.keytab,orvald} root/var/orvald \
    root/var/log/orvald.log root/etc/selinux root/etc/apparmor.d
  # What the machine has installed is the agent of an installed lab alone.
  [[ $shared == /var/lib/* ]] || rm -rf root/usr/{share,libexec}/orvald
  echo "$name" >root/etc/hostname
  printf '127.0.0.1 localhost\n::1 localhost ip6-localhost\n%s %s.%s %s\n' "$address" "$name" "$domain" "$name" >root/etc/hosts
  printf 'search %s\nnameserver %s\noptions timeout:2 attempts:1\n' "$domain" "$nameServer" >root/etc/resolv.conf
  printf '[libdefaults]\n dns_lookup_realm = false\n dns_lookup_kdc = true\n rdns = false\n' >root/etc/krb5.conf
  if ! grep -q '^tester:' root/etc/passwd; then
    echo 'tester:x:1500:1500:Lab tester:/home/tester:/bin/bash' >>root/etc/passwd
    echo 'tester:!:19000:0:99999:7:::' >>root/etc/shadow
    echo 'tester:x:1500:' >>root/etc/group
  fi
  mkdir -p root/home/tester
  chown 1500:1500 root/home/tester
}

hostname "$name"
ulimit -n 16384 2>/dev/null || true
mountRoot
mountDevices
mountShared
writeIdentity
# Stacked on itself and taken off below, as pivot_root(2) describes: no folder of the root is needed for the old one.
cd root
pivot_root . .
umount -l .
cd /
echo "ready $outerPid"
exec >/dev/null 2>&1
# As the reaper of the node, sleep in a child: bash collects every orphan that ends meanwhile.
while :; do
  sleep infinity &
  wait $! || true
done
