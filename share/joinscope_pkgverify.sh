#!/bin/sh
# joinscope_pkgverify.sh [list]: compares the installed agent files with their packages, or lists them.
set -u
status=0
for package in joinscope velkd; do
  if command -v dpkg-query >/dev/null 2>&1 && dpkg-query -W "$package" >/dev/null 2>&1; then
    list="dpkg-query -L" verify="dpkg --verify"
  elif command -v rpm >/dev/null 2>&1 && rpm -q "$package" >/dev/null 2>&1; then
    list="rpm -ql" verify="rpm -V"
  else
    echo "$package: not installed from a package"
    continue
  fi
  if [ "${1:-}" = list ]; then
    $list "$package" || status=1
  elif $verify "$package"; then
    echo "$package: verified"
  else
    status=1
  fi
done
exit $status
