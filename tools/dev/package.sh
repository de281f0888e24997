# ./dev package [--try]: the Debian packages, from debian/ and the tracked files, judged by lintian. With --try they are
# also installed, upgraded and purged under a systemd of their own, on a host of the lab (tools/dev/package-try.sh).
. "$ROOT/tools/dev/build.sh"

packages=$ROOT/build/package

# packageVersion: that of debian/changelog, which must be the release number of the programs.
packageVersion() {
  local version release
  version=$(cd "$ROOT" && dpkg-parsechangelog --show-field Version)
  release=$(sed -nE 's/^project\(joinscope VERSION ([0-9.]+)\.([0-9]+) .*/\1-\2/p' "$ROOT/CMakeLists.txt")
  [[ $version == "$release" ]] || die "package: debian/changelog says $version, CMakeLists.txt says $release"
  echo "$version"
}

# unpackSource TREE UPSTREAM: what a release holds, as a fresh tree and as the tar file of the source package.
unpackSource() {
  local tree=$1 upstream=$2
  rm -rf "$packages"/joinscope[-_]* "$packages"/velkd_* "$packages"/*.log
  mkdir -p "$tree"
  (cd "$ROOT" && git ls-files -z | tar --null --files-from=- --create --ignore-failed-read) 2>/dev/null | tar -x -C "$tree"
  tar -C "$packages" --exclude="${tree##*/}/debian" --sort=name --owner=0 --group=0 -czf \
    "$packages/joinscope_$upstream.orig.tar.gz" "${tree##*/}"
}

# buildPackages TREE: source and binary packages, beside the tree; the log is shown when that fails.
buildPackages() {
  local log=$packages/build.log
  export CCACHE_BASEDIR=$1 CCACHE_NOHASHDIR=true CCACHE_DIR
  CCACHE_DIR=${CCACHE_DIR:-$(ccache --get-config cache_dir)}
  (cd "$1" && dpkg-buildpackage --unsigned-source --unsigned-changes) >"$log" 2>&1 || { tail -n 40 "$log" >&2; return 1; }
}

judgePackages() { lintian --fail-on error,warning "$packages"/joinscope_*.changes; }

run() {
  local version tree try=
  case $#:${1:-} in
    0:) ;;
    1:--try) try=yes ;;
    *) die "package takes --try or nothing" ;;
  esac
  verb setup --quiet build lab package
  version=$(packageVersion) || exit
  tree=$packages/joinscope-${version%-*}
  unpackSource "$tree" "${version%-*}"
  timed "package: build" buildPackages "$tree"
  timed "package: lintian" judgePackages
  say "packages are in build/package"
  [[ -z $try ]] || timed "package: try" "$ROOT/tools/dev/package-try" "$packages" "$version"
}
