# ./dev port [gcc|clang|debian13]...: builds with that compiler or on that system and runs the unit tests; without an
# argument all three. gcc and clang are those of Debian 12, debian13 is what the next release has, in a chroot.
. "$ROOT/tools/dev/build.sh"

CHROOT=$ROOT/build/debian13/root
WORK=$ROOT/build/debian13/work
BUILD_TOOLS='g++ cmake ninja-build pkg-config'

# testUnits WHERE FOLDER COMMAND...: runs the unit tests of the build in that folder, by ctest behind the command.
testUnits() {
  timed "$1: test" "${@:3}" ctest --test-dir "$2" --label-regex unit --output-on-failure --parallel "$(nproc)"
}

port_gcc() { buildPreset dev && testUnits gcc "$ROOT/build/dev"; }

port_clang() { buildPreset clang && testUnits clang "$ROOT/build/clang"; }

# libraries: the packages that the programs and their tests are built with, without the tools of this release.
libraries() { sed -n '/^# libraries/,$p' "$ROOT/tools/packages/build.txt" | sed 's/#.*//' | awk 'NF { print $1 }'; }

# inside COMMAND...: runs it in the chroot as if that were this machine, which keeps none of the mounts: the sources are
# in /source, not to be written, the build is in /build.
inside() {
  # shellcheck disable=SC2016 # the inner shell's
  unshare --mount --pid --fork -- bash -euc 'root=$1 source=$2 work=$3
    shift 3
    mount --bind "$root" "$root" # tests mount too, below a root that is a mount
    mkdir -p "$root/source" "$root/build"
    mount --bind "$source" "$root/source"
    mount -o remount,bind,ro "$root/source"
    mount --bind "$work" "$root/build"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount -t tmpfs tmpfs "$root/tmp"
    exec chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
      DEBIAN_FRONTEND=noninteractive "$@"' - "$CHROOT" "$ROOT" "$WORK" "$@"
}

# makeChroot: the system itself, once; a broken beginning is begun again.
makeChroot() {
  local from
  [[ ! -e $CHROOT/etc/ready ]] || return 0
  from=$(mirror)
  [[ -n $from ]] || die "port: apt names no mirror of Debian; run 'apt-get update' first"
  rm -rf --one-file-system "$CHROOT"
  mkdir -p "$CHROOT"
  debootstrap --variant=minbase trixie "$CHROOT" "$from" >"$WORK/debootstrap.log" 2>&1 || {
    tail -n 5 "$WORK/debootstrap.log" >&2
    die "port: debootstrap failed; all it said is in $WORK/debootstrap.log"
  }
  printf '#!/bin/sh\nexit 101\n' >"$CHROOT/usr/sbin/policy-rc.d"  # no package starts a service
  chmod 755 "$CHROOT/usr/sbin/policy-rc.d"
  touch "$CHROOT/etc/ready"
}

installPackages() {
  # shellcheck disable=SC2046,SC2086 # one word a package
  inside apt-get -q install -y --no-install-recommends $BUILD_TOOLS $(libraries) >"$WORK/packages.log" 2>&1 || {
    tail -n 5 "$WORK/packages.log" >&2
    die "port: packages are missing there; all that apt said is in $WORK/packages.log"
  }
}

# Newer compilers know warnings that nobody here has seen; they are told, and are no errors.
port_debian13() {
  ((EUID == 0)) || die "port: a chroot needs root: run 'sudo ./dev port debian13'"
  mkdir -p "$WORK"
  timed "debian13: the system" makeChroot &&
    timed "debian13: its packages" installPackages &&
    timed "debian13: configure" inside cmake -S /source -B /build/joinscope -G Ninja -DCMAKE_BUILD_TYPE=Debug \
      -DCMAKE_CXX_FLAGS_DEBUG='-g1 -O0' -DJOINSCOPE_WERROR=OFF &&
    timed "debian13: build" inside cmake --build /build/joinscope --parallel "$(nproc)" -- --quiet &&
    testUnits debian13 /build/joinscope inside
}

run() {
  local where failed=()
  (($# > 0)) || set -- gcc clang debian13
  for where in "$@"; do
    [[ $where =~ ^(gcc|clang|debian13)$ ]] || die "port: '$where' is none of gcc, clang and debian13"
  done
  verb setup --quiet build port
  for where in "$@"; do
    "port_$where" || failed+=("$where")
  done
  ((${#failed[@]} == 0)) || die "port: failed: ${failed[*]}"
}
